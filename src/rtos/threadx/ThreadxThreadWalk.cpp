#include "rtos/threadx/ThreadxThreadWalk.h"

#include "debuginfo/StructInfo.h"
#include "rtos/KernelMemory.h"
#include "rtos/threadx/ThreadxReader.h"

#include <optional>
#include <string>
#include <utility>

namespace {

const std::string kCurrentThread = "_tx_thread_current_ptr";
const std::string kCreatedThreads = "_tx_thread_created_ptr";
const std::string kCreatedThreadCount = "_tx_thread_created_count";
const std::string kThreadStruct = "TX_THREAD_STRUCT";
constexpr unsigned char kStackFill = 0xef;

// What only the monitor shows of a thread, in the order it is read.
struct DetailMember {
    const char* member;
    std::optional<unsigned int> ThreadxThread::*field;
};
const DetailMember kDetailMembers[] = {
    {"tx_thread_priority", &ThreadxThread::priority},  {"tx_thread_state", &ThreadxThread::state},
    {"tx_thread_run_count", &ThreadxThread::runCount}, {"tx_thread_stack_start", &ThreadxThread::stackStart},
    {"tx_thread_stack_end", &ThreadxThread::stackEnd}, {"tx_thread_stack_size", &ThreadxThread::stackSize},
};

std::optional<unsigned int> member(RspClient& server, StructInfo& layout, const char* name) {
    unsigned int value = 0;
    if (!ThreadxReader::readMember(server, layout, name, value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace

bool ThreadxThreadWalk::readActiveThreadId(RspClient& server, unsigned int& id) {
    return ThreadxReader::readSymbol(server, kCurrentThread, id);
}

bool ThreadxThreadWalk::readThreads(RspClient& server, bool detail, std::vector<ThreadxThread>& threads) {
    unsigned int activeId = 0;
    unsigned int head = 0;
    if (!readActiveThreadId(server, activeId) || !ThreadxReader::readSymbol(server, kCreatedThreads, head)) {
        return false;
    }
    // An empty list costs no read of the count.
    unsigned int count = 0;
    bool counted = head != 0 && ThreadxReader::readSymbol(server, kCreatedThreadCount, count);
    return ThreadxReader::walkRing(
        "the created thread list", head, ThreadxReader::ringLimit(counted, count),
        [&](unsigned int address, unsigned int& next) {
            StructInfo layout;
            if (!ThreadxReader::bind(server, kThreadStruct, address, layout)) {
                return false;
            }
            ThreadxThread thread;
            thread.id = address;
            thread.active = address == activeId;
            readThread(server, detail, layout, thread);
            // A thread whose link cannot be read is dropped with the rest of the ring.
            if (!ThreadxReader::readMember(server, layout, "tx_thread_created_next", next)) {
                return false;
            }
            threads.push_back(std::move(thread));
            return true;
        });
}

void ThreadxThreadWalk::readThread(RspClient& server, bool detail, StructInfo& layout,
                                   ThreadxThread& thread) {
    std::string name;
    if (ThreadxReader::readName(server, layout, "tx_thread_name", name)) {
        thread.name = name;
    }
    thread.stackPointer = member(server, layout, "tx_thread_stack_ptr");
    if (detail) {
        readDetail(server, layout, thread);
    }
}

void ThreadxThreadWalk::readDetail(RspClient& server, StructInfo& layout, ThreadxThread& thread) {
    for (const DetailMember& detail : kDetailMembers) {
        thread.*detail.field = member(server, layout, detail.member);
    }
    unsigned int freeBytes = 0;
    if (thread.stackStart && thread.stackSize &&
        KernelMemory::countStackFill(server, *thread.stackStart, *thread.stackSize, kStackFill, freeBytes)) {
        thread.freeStack = freeBytes;
    }
}
