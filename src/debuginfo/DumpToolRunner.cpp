#include "debuginfo/DumpToolRunner.h"

#include "base/StringUtil.h"

#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

extern char** environ;

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
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(&word[0]);
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, cache, STDOUT_FILENO);
    pid_t child = 0;
    // A tool option of blanks only leaves just the dump's arguments: no tool to run.
    bool started =
        words.size() > 2 && posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    ::close(cache);
    if (!started) {
        return false;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string DumpToolRunner::describe(const std::string& tool, const std::string& elfPath,
                                     const std::string& cachePath) {
    return tool + " -wi \"" + elfPath + "\" > \"" + cachePath + "\"";
}
