#include "BenchChild.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

const int kPollMs = 10;

} // namespace

BenchChild::BenchChild(const std::vector<std::string>& argv, const std::string& newOutputPath)
    : outputPath(newOutputPath) {
    for (const std::string& word : argv) {
        command += (command.empty() ? "" : " ") + word;
    }
    int output = ::open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (output < 0 || argv.empty()) {
        return;
    }
    std::vector<char*> arguments;
    for (const std::string& word : argv) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    pid = ::fork();
    if (pid == 0) {
        int input = ::open("/dev/null", O_RDONLY);
        ::dup2(input, 0);
        ::dup2(output, 1);
        ::dup2(output, 2);
        ::execvp(arguments[0], arguments.data());
        ::_exit(127);
    }
    ::close(output);
}

BenchChild::~BenchChild() {
    stop();
}

std::string BenchChild::output() const {
    std::ifstream in(outputPath);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool BenchChild::waitForOutput(const std::string& text, int timeoutMs) const {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (output().find(text) != std::string::npos) {
            return true;
        }
        if (::waitpid(pid, nullptr, WNOHANG | WNOWAIT) == pid) {
            return output().find(text) != std::string::npos;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kPollMs));
    }
    return false;
}

bool BenchChild::waitExit(int timeoutMs) {
    if (pid <= 0) {
        return true;
    }
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        int status = 0;
        pid_t done = ::waitpid(pid, &status, WNOHANG);
        if (done == pid || (done < 0 && errno == ECHILD)) {
            exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            pid = -1;
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kPollMs));
    }
}

bool BenchChild::running() {
    return pid > 0 && !waitExit(0);
}

void BenchChild::stop(int graceMs) {
    if (pid <= 0) {
        return;
    }
    ::kill(pid, SIGTERM);
    if (!waitExit(graceMs)) {
        ::kill(pid, SIGKILL);
        waitExit(graceMs);
    }
}

std::string BenchChild::describe() const {
    return command + "\n  output:\n" + output();
}
