#include "proxy/ThreadSelection.h"

namespace {

const char* const kGeneral = "g";

} // namespace

void ThreadSelection::select(const std::string& operation, unsigned int thread) {
    selections[operation] = thread;
}

bool ThreadSelection::get(const std::string& operation, unsigned int& thread) const {
    auto found = selections.find(operation);
    if (found == selections.end()) {
        return false;
    }
    thread = found->second;
    return true;
}

void ThreadSelection::moveGeneralTo(unsigned int thread) {
    selections[kGeneral] = thread;
}
