#include "rtos/RtosInfo.h"

#include <iomanip>
#include <sstream>
#include <utility>

namespace {

constexpr int kFieldWidth = 20;

} // namespace

RtosInfo::RtosInfo(std::string newId, std::vector<RtosCommand> newCommands)
    : id(std::move(newId)), commands(std::move(newCommands)) {}

void RtosInfo::addCommand(const RtosCommand& command) {
    commands.push_back(command);
}

std::string RtosInfo::toString(const RtosInfo& info, KernelInfoFormating format) {
    switch (format) {
    case FORMAT_TABULAR:
        return toStringTabular(info);
    case FORMAT_TREE:
        return "";
    case FORMAT_JSON:
        return toStringJson(info);
    }
    return "";
}

std::string RtosInfo::toStringTabular(const RtosInfo& info) {
    // setw fills a shorter text and never cuts a longer one.
    std::ostringstream out;
    out << std::left << "Driver: " << info.id << "\n";
    out << std::setw(kFieldWidth) << "Command" << std::setw(kFieldWidth) << "Description"
        << "\n";
    for (const RtosCommand& command : info.commands) {
        out << std::setw(kFieldWidth) << command.getCommandId() << std::setw(kFieldWidth)
            << command.getCommandDescription() << "\n";
    }
    out << "\n";
    return out.str();
}

std::string RtosInfo::toStringJson(const RtosInfo& info) {
    std::string text = "{\n";
    text += "  \"rtosInfo\": {\n";
    text += "    \"rtosId\":\"" + info.id + "\",\n";
    text += "    \"commands\": [\n";
    for (const RtosCommand& command : info.commands) {
        text += "      {\n";
        text += "        \"command\":\"" + command.getCommandId() + "\",\n";
        text += "        \"description\":\"" + command.getCommandDescription() + "\"\n";
        text += "      },\n";
    }
    text += "    ]\n";
    text += "  }\n";
    text += "}\n";
    return text;
}
