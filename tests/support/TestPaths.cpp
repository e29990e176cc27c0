#include "TestPaths.h"

namespace testpaths {
std::string tarnwickBinary() { return TARNWICK_BINARY; }
std::string sourceDir() { return TARNWICK_SOURCE_DIR; }
std::string fixturesDir() { return TARNWICK_FIXTURES_DIR; }
std::string targetSim() { return TARNWICK_TARGET_SIM; }
} // namespace testpaths
