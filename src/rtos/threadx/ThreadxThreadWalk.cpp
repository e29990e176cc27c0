#include "rtos/threadx/ThreadxThreadWalk.h"

#include "debuginfo/StructInfo.h"
#include "rsp/CoalescedPrefetch.h"
#include "rsp/RspClient.h"
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
// Names are mostly string literals side by side in read-only data. Bytes between two names cost two hex
// digits each in one reply, where a read of its own costs a round trip (about a millisecond through a debug
// probe): 128 bytes more is still the cheaper side at a probe's slowest link speeds.
constexpr unsigned int kNameGap = 128;

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
    // Where the stop keeps memory, the names wait for the end of the walk so that names lying together come
    // in one read; otherwise each is read where the walk meets it.
    const bool gathered = server.keepsStopMemory();
    const std::size_t first = threads.size();
    std::vector<std::optional<unsigned int>> names;
    bool walked = ThreadxReader::walkRing(
        "the created thread list", head, ThreadxReader::ringLimit(counted, count),
        [&](unsigned int address, unsigned int& next) {
            StructInfo layout;
            if (!ThreadxReader::bind(server, kThreadStruct, address, layout)) {
                return false;
            }
            ThreadxThread thread;
            thread.id = address;
            thread.active = address == activeId;
            std::optional<unsigned int> name = member(server, layout, "tx_thread_name");
            if (!gathered) {
                readName(server, name, thread);
            }
            readThread(server, detail, layout, thread);
            // A thread whose link cannot be read is dropped with the rest of the ring.
            if (!ThreadxReader::readMember(server, layout, "tx_thread_created_next", next)) {
                return false;
            }
            threads.push_back(std::move(thread));
            names.push_back(name);
            return true;
        });
    if (gathered) {
        readNames(server, names, threads.data() + first);
    }
    return walked;
}

void ThreadxThreadWalk::readThread(RspClient& server, bool detail, StructInfo& layout,
                                   ThreadxThread& thread) {
    thread.stackPointer = member(server, layout, "tx_thread_stack_ptr");
    if (detail) {
        readDetail(server, layout, thread);
    }
}

void ThreadxThreadWalk::readName(RspClient& server, std::optional<unsigned int> address,
                                 ThreadxThread& thread) {
    std::string name;
    if (address && ThreadxReader::readNameAt(server, *address, name)) {
        thread.name = name;
    }
}

void ThreadxThreadWalk::readNames(RspClient& server, const std::vector<std::optional<unsigned int>>& names,
                                  ThreadxThread* threads) {
    std::vector<unsigned int> starts;
    for (const std::optional<unsigned int>& name : names) {
        if (name) {
            starts.push_back(*name);
        }
    }
    CoalescedPrefetch::fetch(server, starts, ThreadxReader::kObjectNameLength, kNameGap);
    for (std::size_t i = 0; i < names.size(); ++i) {
        readName(server, names[i], threads[i]);
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
