#ifndef TARNWICK_TARGET_THREADDATA_H
#define TARNWICK_TARGET_THREADDATA_H

// What a driver keeps of one thread until its registers are read; drivers derive from it.
class ThreadData {
public:
    ThreadData() = default;
    virtual ~ThreadData();
};

#endif
