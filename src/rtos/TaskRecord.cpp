#include "rtos/TaskRecord.h"

bool TaskRecord::toThread(const std::string& absentName, TargetThread& thread) const {
    if (!active && !stackPointer) {
        return false;
    }
    thread = TargetThread(id, stackPointer.value_or(0), active, name.value_or(absentName));
    return true;
}
