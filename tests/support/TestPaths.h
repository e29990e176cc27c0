#ifndef TARNWICK_TESTS_SUPPORT_TESTPATHS_H
#define TARNWICK_TESTS_SUPPORT_TESTPATHS_H

#include <string>

// Paths of the built artefacts, handed in by the build.
namespace testpaths {
std::string tarnwickBinary();
std::string sourceDir();
std::string fixturesDir();
std::string targetSim();
} // namespace testpaths

#endif
