#ifndef TARNWICK_TESTS_SUPPORT_SOURCEFILE_H
#define TARNWICK_TESTS_SUPPORT_SOURCEFILE_H

#include <string>

namespace testfiles {
// The bytes of a file of the source tree, path relative to its root; adds a test failure if missing.
std::string readSourceFile(const std::string& relativePath);
} // namespace testfiles

#endif
