#include "rtos/RtosCommand.h"

#include <utility>

RtosCommand::RtosCommand(std::string newCommandId, std::string newDescription,
                         std::map<std::string, std::string> newParameters)
    : commandId(std::move(newCommandId)), description(std::move(newDescription)),
      parameters(std::move(newParameters)) {}
