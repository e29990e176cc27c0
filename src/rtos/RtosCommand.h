#ifndef TARNWICK_RTOS_RTOSCOMMAND_H
#define TARNWICK_RTOS_RTOSCOMMAND_H

#include <map>
#include <string>

// One monitor command that a driver offers: its word and one line for the user.
class RtosCommand {
public:
    // The parameters are kept with the command; nothing reads them.
    RtosCommand(std::string newCommandId, std::string newDescription,
                std::map<std::string, std::string> newParameters);
    RtosCommand(const RtosCommand&) = default;
    RtosCommand(RtosCommand&&) = default;
    RtosCommand& operator=(const RtosCommand&) = default;
    RtosCommand& operator=(RtosCommand&&) = default;
    virtual ~RtosCommand() = default;

    std::string& getCommandId() { return commandId; }
    const std::string& getCommandId() const { return commandId; }
    std::string& getCommandDescription() { return description; }
    const std::string& getCommandDescription() const { return description; }

private:
    std::string commandId;
    std::string description;
    std::map<std::string, std::string> parameters;
};

#endif
