#ifndef TARNWICK_RTOS_THREADX_THREADXOBJECTCOLLECTOR_H
#define TARNWICK_RTOS_THREADX_THREADXOBJECTCOLLECTOR_H

#include "rtos/threadx/ThreadxObject.h"

#include <vector>

class RspClient;

// ThreadX links the objects of each kind on a circular list with a global head. One walk, driven by the
// table of ThreadxObjectKinds, reads them all. It writes no log line: a section missing from the output
// is all that shows a failed walk.
class ThreadxObjectCollector {
public:
    // One record per created object of the kind; true with none for an empty list, false if the head, a
    // layout or a next link cannot be had.
    static bool read(RspClient& server, ThreadxObjectKinds::Kind kind, std::vector<ThreadxObject>& objects);
};

#endif
