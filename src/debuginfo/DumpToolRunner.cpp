#include "debuginfo/DumpToolRunner.h"

#include "base/ChildProcess.h"
#include "base/StringUtil.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace {

// The words of the tool option, then the dump's own arguments.
std::vector<std::string> commandWords(const std::string& tool, const std::string& elfPath) {
    std::vector<std::string> words;
    for (const std::string& word : StringUtil::split2(tool, ' ')) {
        if (!word.empty()) {
            words.push_back(word);
        }
    }
    words.push_back("-wi");
    words.push_back(elfPath);
    return words;
}

} // namespace

bool DumpToolRunner::run(const std::string& tool, const std::string& elfPath, const std::string& cachePath) {
    int cache = ::open(cachePath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (cache < 0) {
        return false;
    }
    std::vector<std::string> words = commandWords(tool, elfPath);
    pid_t child = 0;
    // A tool option of blanks only leaves just the dump's arguments: no tool to run.
    bool started = words.size() > 2 && ChildProcess::start(words, cache, child);
    ::close(cache);
    int status = 0;
    return started && ChildProcess::wait(child, status) && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string DumpToolRunner::describe(const std::string& tool, const std::string& elfPath,
                                     const std::string& cachePath) {
    return tool + " -wi \"" + elfPath + "\" > \"" + cachePath + "\"";
}
