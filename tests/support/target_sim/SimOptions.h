#ifndef TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMOPTIONS_H
#define TARNWICK_TESTS_SUPPORT_TARGET_SIM_SIMOPTIONS_H

#include "target_sim/SimConfig.h"
#include "target_sim/SimTarget.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace targetsim {

// The command line of target_sim: wire behaviour into config, target contents kept until buildTarget.
class SimOptions {
public:
    struct Range {
        std::uint32_t address = 0;
        std::uint32_t size = 0;
    };
    struct Image {
        std::uint32_t address = 0;
        std::string path;
    };

    // Arguments without the program name; false with a reason in error.
    bool parse(const std::vector<std::string>& args, std::string& error);
    // Fills target in this order: ELF, RAM ranges, images, error ranges, registers file, single registers.
    bool buildTarget(SimTarget& target, std::string& error) const;
    static std::string usage();

    SimConfig config;
    Profile profile = Profile::M;
    bool showHelp = false;
    std::string elfPath;
    std::vector<Range> ram;
    std::vector<Image> images;
    std::vector<ErrorRange> errorRanges;
    std::string registersFile;
    std::vector<std::pair<std::string, std::uint32_t>> registers;

private:
    bool parseOption(const std::string& name, const std::string& value, std::string& error);
};

} // namespace targetsim

#endif
