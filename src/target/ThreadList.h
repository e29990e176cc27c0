#ifndef TARNWICK_TARGET_THREADLIST_H
#define TARNWICK_TARGET_THREADLIST_H

#include "target/TargetThread.h"

#include <map>
#include <string>
#include <vector>

// Snapshot of the target's threads at one stop, keyed and ordered by thread id.
class ThreadList {
public:
    ThreadList() = default;
    virtual ~ThreadList() = default;
    ThreadList(const ThreadList&) = default;
    ThreadList& operator=(const ThreadList&) = default;

    // Removes all threads; the valid flag stays as it is.
    void clear() { threads.clear(); }
    unsigned int getNumberOfThreads() const { return static_cast<unsigned int>(threads.size()); }
    // False, out untouched, if the id is absent.
    bool getThread(unsigned int id, TargetThread& out) const;
    // The first active thread by ascending id. On false out holds the last thread of the list,
    // and is untouched only when the list is empty.
    bool getActiveThread(TargetThread& out) const;
    // Stores a copy if the id is new; otherwise false, and the thread stored first stays.
    bool addThread(const TargetThread& thread);
    void setValid(bool newValid) { valid = newValid; }
    bool isValid() const { return valid; }
    // <thread id="hex" name="name">RUNNING</thread>, the body empty for a switched-out thread.
    // The name is not escaped.
    std::string getXMLEntry(const TargetThread& thread) const;
    // The qXfer:threads:read document: the first active thread, then the others by ascending id.
    std::string getXML() const;
    // All ids, ascending.
    std::vector<unsigned int> getThreadIdentifiers() const;

private:
    std::map<unsigned int, TargetThread> threads;
    bool valid = false;
};

#endif
