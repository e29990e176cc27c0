#include "target/ThreadData.h"

// Out of line so that the class has one home for its virtual table.
ThreadData::~ThreadData() = default;
