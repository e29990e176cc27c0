#ifndef TARNWICK_BASE_CHILDPROCESS_H
#define TARNWICK_BASE_CHILDPROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

// Another program run without a shell, so that no character of its arguments (a quote, "$(...)", a
// backquote, a semicolon) can run a command.
class ChildProcess {
public:
    // Starts words[0] with words as its arguments, its standard output on outputDescriptor and the signal
    // state of a shell's child, whatever this process has set; the name is searched on the PATH unless it
    // holds a '/'. False, pid untouched, if nothing started.
    static bool start(const std::vector<std::string>& words, int outputDescriptor, pid_t& pid);
    // Waits until the child ends, through interruptions by signals; status as waitpid gives it. False if
    // the child cannot be waited for.
    static bool wait(pid_t pid, int& status);
};

#endif
