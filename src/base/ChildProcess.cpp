#include "base/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// The signals a test runner or a debugger's proxy may block or ignore, back to their defaults.
void shellSignalState(posix_spawnattr_t& attributes) {
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

} // namespace

bool ChildProcess::start(const std::vector<std::string>& words, int outputDescriptor, pid_t& pid) {
    if (words.empty()) {
        return false;
    }
    std::vector<std::string> copies = words;
    std::vector<char*> argv;
    for (std::string& word : copies) {
        argv.push_back(&word[0]);
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outputDescriptor, STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    shellSignalState(attributes);
    pid_t child = 0;
    bool started = posix_spawnp(&child, argv[0], &actions, &attributes, argv.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (started) {
        pid = child;
    }
    return started;
}

bool ChildProcess::wait(pid_t pid, int& status) {
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}
