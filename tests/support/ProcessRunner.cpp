#include "ProcessRunner.h"

#include "base/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

ProcessRunner::ProcessRunner(const std::string& program, const std::vector<std::string>& args) {
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "pipe2 failed";
        return;
    }
    std::vector<std::string> words = {program};
    words.insert(words.end(), args.begin(), args.end());
    if (!ChildProcess::start(words, pipeEnds[1], pid)) {
        ADD_FAILURE() << "cannot start " << program;
    }
    ::close(pipeEnds[1]);
    int readEnd = pipeEnds[0];
    reader = std::thread([this, readEnd] { readOutput(readEnd); });
}

ProcessRunner::~ProcessRunner() {
    if (pid > 0 && status < 0) {
        kill(pid, SIGKILL);
        int raw = 0;
        waitpid(pid, &raw, 0);
    }
    if (reader.joinable()) {
        reader.join();
    }
}

void ProcessRunner::readOutput(int descriptor) {
    char chunk[4096];
    for (;;) {
        ssize_t count = ::read(descriptor, chunk, sizeof(chunk));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        std::lock_guard<std::mutex> guard(lock);
        captured.append(chunk, static_cast<std::size_t>(count));
        changed.notify_all();
    }
    ::close(descriptor);
}

bool ProcessRunner::waitExit(int timeoutMs) {
    if (pid <= 0) {
        return false;
    }
    if (status >= 0) {
        return true;
    }
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        int raw = 0;
        if (waitpid(pid, &raw, WNOHANG) == pid) {
            status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
            // The pipe ends with the child, so the whole output is in once the reader stops.
            if (reader.joinable()) {
                reader.join();
            }
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

std::string ProcessRunner::output() const {
    std::lock_guard<std::mutex> guard(lock);
    return captured;
}

bool ProcessRunner::waitForOutput(const std::string& text, int timeoutMs) {
    std::unique_lock<std::mutex> guard(lock);
    return changed.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                            [this, &text] { return captured.find(text) != std::string::npos; });
}

void ProcessRunner::sendSignal(int signalNumber) {
    if (pid > 0 && status < 0) {
        kill(pid, signalNumber);
    }
}
