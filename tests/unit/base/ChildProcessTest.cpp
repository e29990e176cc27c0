#include "base/ChildProcess.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// What a child wrote on its standard output, and how it ended, as waitpid tells it.
struct Finished {
    bool started = false;
    bool waited = false;
    int status = -1;
    std::string output;
};

Finished runToEnd(const std::vector<std::string>& words) {
    Finished run;
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "pipe2 failed";
        return run;
    }
    pid_t pid = -1;
    run.started = ChildProcess::start(words, pipeEnds[1], pid);
    ::close(pipeEnds[1]);
    char chunk[256];
    ssize_t count = 0;
    while ((count = ::read(pipeEnds[0], chunk, sizeof(chunk))) > 0) {
        run.output.append(chunk, static_cast<std::size_t>(count));
    }
    ::close(pipeEnds[0]);
    run.waited = run.started && ChildProcess::wait(pid, run.status);
    return run;
}

} // namespace

TEST(ChildProcessIntegration, FindsTheProgramOnThePathAndPassesEachWordWhole) {
    Finished run = runToEnd({"printf", "%s|%s|", "$(echo no); echo no", "a b"});
    ASSERT_TRUE(run.started);
    ASSERT_TRUE(run.waited);
    EXPECT_EQ("$(echo no); echo no|a b|", run.output);
    EXPECT_TRUE(WIFEXITED(run.status));
    EXPECT_EQ(0, WEXITSTATUS(run.status));
}

TEST(ChildProcessIntegration, TellsTheExitStatus) {
    Finished run = runToEnd({"/bin/sh", "-c", "exit 3"});
    ASSERT_TRUE(run.waited);
    EXPECT_TRUE(WIFEXITED(run.status));
    EXPECT_EQ(3, WEXITSTATUS(run.status));
}

TEST(ChildProcessIntegration, StartsNothingWithoutWordsOrProgram) {
    pid_t pid = 42;
    EXPECT_FALSE(ChildProcess::start({}, STDOUT_FILENO, pid));
    EXPECT_FALSE(ChildProcess::start({"tarnwick-no-such-program"}, STDOUT_FILENO, pid));
    EXPECT_EQ(42, pid);
}

TEST(ChildProcessIntegration, GivesTheChildTheDefaultActionOfSignalsThisProcessIgnores) {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    struct sigaction before = {};
    sigaction(SIGPIPE, &ignore, &before);
    // A shell cannot take back a signal ignored when it started: only the default action ends it here.
    Finished run = runToEnd({"/bin/sh", "-c", "kill -PIPE $$; echo survived"});
    sigaction(SIGPIPE, &before, nullptr);
    ASSERT_TRUE(run.waited);
    EXPECT_EQ("", run.output);
    EXPECT_TRUE(WIFSIGNALED(run.status));
    EXPECT_EQ(SIGPIPE, WTERMSIG(run.status));
}
