#ifndef TARNWICK_RTOS_RTOSINFO_H
#define TARNWICK_RTOS_RTOSINFO_H

#include "rtos/KernelInfoFormating.h"
#include "rtos/RtosCommand.h"

#include <string>
#include <vector>

// A driver's catalogue of monitor commands, as shown to the user.
class RtosInfo {
public:
    RtosInfo(std::string newId, std::vector<RtosCommand> newCommands);
    virtual ~RtosInfo() = default;

    std::string& getId() { return id; }
    const std::string& getId() const { return id; }
    std::vector<RtosCommand>& getCommands() { return commands; }
    const std::vector<RtosCommand>& getCommands() const { return commands; }
    void addCommand(const RtosCommand& command);

    // Tabular and JSON only: the catalogue has no tree form, so that and any unknown format give "".
    static std::string toString(const RtosInfo& info, KernelInfoFormating format);
    static std::string toStringTabular(const RtosInfo& info);
    // Every command closes with "}," even the last one; readers of this output expect that form.
    static std::string toStringJson(const RtosInfo& info);

private:
    std::string id;
    std::vector<RtosCommand> commands;
};

#endif
