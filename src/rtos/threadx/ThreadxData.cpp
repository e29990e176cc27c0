#include "rtos/threadx/ThreadxData.h"

// Out of line so that the class has one home for its virtual table.
ThreadxData::~ThreadxData() = default;
