// target_sim: an RSP server of our own that answers like a GDB server for an Arm Cortex target.
#include "target_sim/SimOptions.h"
#include "target_sim/SimServer.h"

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    targetsim::SimOptions options;
    std::string error;
    if (!options.parse(std::vector<std::string>(argv + 1, argv + argc), error)) {
        std::fprintf(stderr, "target_sim: %s\n%s", error.c_str(), targetsim::SimOptions::usage().c_str());
        return 2;
    }
    if (options.showHelp) {
        std::printf("%s", targetsim::SimOptions::usage().c_str());
        return 0;
    }
    targetsim::SimTarget target(options.profile);
    if (!options.buildTarget(target, error)) {
        std::fprintf(stderr, "target_sim: %s\n", error.c_str());
        return 1;
    }
    targetsim::SimServer server(target, options.config);
    if (!server.listen(error)) {
        std::fprintf(stderr, "target_sim: %s\n", error.c_str());
        return 1;
    }
    // Scripts read the port from this line, so it is flushed before anything can connect.
    std::printf("target_sim: listening on port %u\n", static_cast<unsigned>(server.getPort()));
    std::fflush(stdout);
    server.serve();
    return 0;
}
