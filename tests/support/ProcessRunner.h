#ifndef TARNWICK_TESTS_SUPPORT_PROCESSRUNNER_H
#define TARNWICK_TESTS_SUPPORT_PROCESSRUNNER_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

// A child process with its standard output captured (standard error is left to the test's own).
// The destructor kills a child that still runs, so a failing test leaves nothing behind.
class ProcessRunner {
public:
    static constexpr int kDefaultTimeoutMs = 5000;

    ProcessRunner(const std::string& program, const std::vector<std::string>& args);
    ~ProcessRunner();
    ProcessRunner(const ProcessRunner&) = delete;
    ProcessRunner& operator=(const ProcessRunner&) = delete;

    bool started() const { return pid > 0; }
    // True once the child has exited (its output is then complete); false after the time-out.
    bool waitExit(int timeoutMs = kDefaultTimeoutMs);
    // The exit status as the shell sees it (255 for -1); 128 + the signal if a signal ended it;
    // -1 while it runs.
    int exitStatus() const { return status; }
    // Standard output so far.
    std::string output() const;
    // Waits until the output contains the text.
    bool waitForOutput(const std::string& text, int timeoutMs = kDefaultTimeoutMs);
    void sendSignal(int signalNumber);

private:
    void readOutput(int descriptor);

    pid_t pid = -1;
    int status = -1;
    std::thread reader;
    mutable std::mutex lock;
    std::condition_variable changed;
    std::string captured;
};

#endif
