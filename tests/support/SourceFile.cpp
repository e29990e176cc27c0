#include "SourceFile.h"

#include "TestPaths.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

std::string testfiles::readSourceFile(const std::string& relativePath) {
    std::ifstream file(testpaths::sourceDir() + "/" + relativePath, std::ios::binary);
    EXPECT_TRUE(file.good()) << "cannot read " << relativePath;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}
