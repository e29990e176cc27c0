#ifndef TARNWICK_RTOS_PORTROW_H
#define TARNWICK_RTOS_PORTROW_H

#include <string>
#include <vector>

struct PortFrames;

// One port of a kernel as data: its "--rtos_variant" name, the facts of a program or a core that tell it,
// and its frames. PortTable reads the facts; SavedFrame reads the frames.
struct PortRow {
    // A condition on a yes-or-no fact of the program.
    enum class When : unsigned char { Any, Set, Clear };

    // What the program file tells of the port it was built with.
    struct Evidence {
        // As ArmAttributes names it; empty when unknown.
        std::string architecture;
        bool floatingPoint = false;
        bool secureContext = false;
        bool mpuSetup = false;
    };

    // An architecture the port runs on, and the facts under which a program built for it has this port.
    struct Architecture {
        const char* name;
        When floatingPoint = When::Any;
        When secureContext = When::Any;
        When mpuSetup = When::Any;

        bool holds(const Evidence& evidence) const;
    };

    // Where the kernel keeps the port's sources: the folder under portable/<toolchain>/, then the
    // sub-folder, if the port has one. Null for a port that no folder tells.
    struct Folder {
        const char* folder;
        const char* subFolder;
    };

    const char* name;
    const PortFrames& frames;
    Folder folder;
    std::vector<Architecture> architectures;
    // The port that the evidence names in this one's stead, for the two share their frames and no
    // architecture tells them apart; null where the evidence can name this one.
    const char* sameFramesAs = nullptr;
    // The part numbers of the cores in the CPUID register that have this port.
    std::vector<unsigned int> coreParts = {};

    bool runsOn(const std::string& architecture) const;
};

#endif
