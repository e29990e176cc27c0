#ifndef TARNWICK_RTOS_THREADX_THREADXOBJECTVIEW_H
#define TARNWICK_RTOS_THREADX_THREADXOBJECTVIEW_H

#include "rtos/KernelInfoNode.h"
#include "rtos/threadx/ThreadxObject.h"

#include <vector>

// The monitor's rendering of ThreadX object records: a node per object, labelled by its kind, with a child
// per value. A value that could not be read shows as nothing.
class ThreadxObjectView {
public:
    static KernelInfoNode objectNode(const ThreadxObject& object);
    // One child of out per object.
    static void addObjects(const std::vector<ThreadxObject>& objects, KernelInfoNode& out);

private:
    static std::string valueText(const ThreadxObject::Value& value);
};

#endif
