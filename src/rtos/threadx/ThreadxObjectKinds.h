#ifndef TARNWICK_RTOS_THREADX_THREADXOBJECTKINDS_H
#define TARNWICK_RTOS_THREADX_THREADXOBJECTKINDS_H

#include <vector>

// What each kind of ThreadX object is called, where its created list starts and which members the monitor
// shows of it: the one table that the collector reads by and the view renders by.
class ThreadxObjectKinds {
public:
    enum Kind { SEMAPHORES, MUTEXES, TIMERS, QUEUES, EVENT_FLAGS, BLOCK_POOLS, BYTE_POOLS };
    static constexpr Kind kAll[] = {SEMAPHORES,  MUTEXES,     TIMERS,    QUEUES,
                                    EVENT_FLAGS, BLOCK_POOLS, BYTE_POOLS};
    // How a member is read and shown.
    enum ValueKind { NAME, DECIMAL, HEX8, HEX, OWNER_NAME, SUSPENDED_THREADS, TICKS_LEFT };

    struct Field {
        const char* label;
        const char* member;
        ValueKind kind;
        // The member lies in the timer record embedded in the object, not in the object itself.
        bool internal;
        // Of a suspension list: the member that counts its threads.
        const char* countMember = nullptr;
    };

    struct ObjectList {
        // The monitor's section of the kind.
        const char* sectionLabel;
        const char* headSymbol;
        const char* countSymbol;
        const char* structure;
        const char* objectLabel;
        const char* nextMember;
        // Where the embedded timer record lies, for kinds that show members of it; null otherwise.
        const char* internalMember;
        const char* internalStructure;
        std::vector<Field> fields;
    };

    static const ObjectList& of(Kind kind);
};

#endif
