#include "proxy/MonitorCommand.h"

#include "proxy/Interception.h"
#include "rsp/RspClient.h"
#include "rsp/RspUtil.h"
#include "rtos/IRtosDriver.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/RtosInfo.h"

#include <array>

namespace {

// The first word of the monitor commands that run here rather than on the server.
const char* const kMonitorKeyword = "rtos";

// The options, each only as the word right behind the keyword.
struct FormatOption {
    const char* word;
    KernelInfoFormating format;
};
const std::array<FormatOption, 2> kFormatOptions = {{{"-m", FORMAT_JSON}, {"-t", FORMAT_TREE}}};

} // namespace

bool MonitorCommand::intercept_monitor(RspClient& from, RspClient& to, bool& handled) {
    std::vector<std::string> words;
    if (!RspUtil::parseCommand_qRcmd(Interception::peekPayload(from), words) || words.empty() ||
        words[0] != kMonitorKeyword) {
        return true;
    }
    Interception::take(from, handled);
    // All of it in one packet, however long: GDB prints it as the command's output.
    return Interception::sendReply(from, RspUtil::createReply_qRcmd(run(to, words)), "intercept_monitor",
                                   "intercept monitor. Failed sending reply.\n");
}

std::string MonitorCommand::run(RspClient& server, const std::vector<std::string>& words) const {
    std::size_t next = 1;
    KernelInfoFormating format = FORMAT_TABULAR;
    for (const FormatOption& option : kFormatOptions) {
        if (words.size() >= 2 && words[1] == option.word) {
            format = option.format;
            next = 2;
        }
    }
    if (driver == nullptr) {
        return "No driver loaded";
    }
    if (next == words.size()) {
        RtosInfo* info = driver->getInfo();
        return info != nullptr ? RtosInfo::toString(*info, format) : "";
    }
    std::vector<std::string> command(words.begin() + static_cast<std::ptrdiff_t>(next), words.end());
    KernelInfoNode node;
    return driver->runCommand(server, command, node) ? KernelInfoNode::toString(node, format)
                                                     : "Failed to execute command";
}
