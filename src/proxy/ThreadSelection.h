#ifndef TARNWICK_PROXY_THREADSELECTION_H
#define TARNWICK_PROXY_THREADSELECTION_H

#include <map>
#include <string>

// GDB's "H" selections, one per operation: each lasts until the next "H" of the same operation, so the
// thread chosen for register access ("Hg") and the one chosen for resuming ("Hc") never touch each other.
class ThreadSelection {
public:
    void select(const std::string& operation, unsigned int thread);
    // False, thread untouched, if GDB has not selected one for this operation since the last forget.
    bool get(const std::string& operation, unsigned int& thread) const;
    // The target stopped: register access now means the thread that stopped, whatever GDB chose before.
    void moveGeneralTo(unsigned int thread);
    void forget() { selections.clear(); }

private:
    std::map<std::string, unsigned int> selections;
};

#endif
