// The proxy's dispatch with its real ThreadX driver: random packets from GDB and random stop replies from the
// server, each handled as the loop handles it (RspProxy::handlePacket), against the kernel snapshot of
// threadx_state.elf served by the target simulator. The input is a series of records:
//   one byte: bit 0 the side (0 GDB, 1 server), bit 1 raw bytes rather than a payload to frame, bit 2 a
//   two-byte length; then the length (one byte, or two little-endian); then the bytes.
#include "FuzzCheck.h"
#include "FuzzDriverSetup.h"
#include "FuzzKernel.h"
#include "RspFrame.h"
#include "base/Properties.h"
#include "proxy/Tarnwick.h"
#include "rsp/ClientSocket.h"
#include "rsp/RspBuffer.h"
#include "rtos/threadx/ThreadxRtosDriver.h"

#include <cstring>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

// The symbol negotiation waits up to a second for GDB's reply to each name; no fuzz input answers them.
const std::string kNegotiation = "qSymbol::";

struct Fixture {
    ThreadxRtosDriver driver{fuzzDriverRow("ThreadX", "threadx", "TX_THREAD_STRUCT")};
    std::unique_ptr<FuzzKernel> kernel;

    Fixture() {
        std::vector<std::string> symbols;
        std::vector<std::string> structures;
        driver.getSymbols(symbols);
        driver.getDataStructures(structures);
        kernel = std::make_unique<FuzzKernel>("threadx_state.elf", symbols, structures);
        Properties::getInstance().addProperty("--rtos_variant", "cortex_m4");
        Tarnwick::getInstance().RspProxy::init();
    }
};

Fixture* fixture = nullptr;

void drain(int descriptor) {
    char chunk[4096];
    while (recv(descriptor, chunk, sizeof(chunk), MSG_DONTWAIT) > 0) {
    }
}

// Every packet that stands in from's buffer (and socket), handled as the loop does; false when the loop
// would end. With a server to hear from, what it sends back is taken after each packet, as if GDB had sent
// one packet a read: the loop would take it at its next wait, and a socket pair holds far less than TCP.
bool handleAll(RspClient& from, RspClient& to, int gdbFar, RspClient* server) {
    for (;;) {
        int length = from.getPacket(0);
        if (length < 0) {
            return false;
        }
        if (length == 0) {
            return true;
        }
        bool handled = Tarnwick::getInstance().handlePacket(from, to);
        drain(gdbFar);
        if (!handled || (server != nullptr && !handleAll(*server, from, gdbFar, nullptr))) {
            return false;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzQuietLog();
    fixture = new Fixture();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzKernel& kernel = *fixture->kernel;
    kernel.serve(kernel.builtRam().data(), kernel.builtRam().size());
    // A new session: the snapshot, the stop count, the register layout and what was learned go.
    fuzzRequire(Tarnwick::getInstance().loadDriver(&fixture->driver), "the driver loads");
    int pair[2];
    fuzzRequire(socketpair(AF_UNIX, SOCK_STREAM, 0, pair) == 0, "a socket pair");
    RspClient gdb(new ClientSocket(pair[0]), "GDB Client", ROLE_GDB_CLIENT);
    RspClient& server = kernel.server();

    std::size_t at = 0;
    bool running = true;
    while (running && at < size) {
        std::uint8_t kind = data[at++];
        std::size_t length = 0;
        if ((kind & 4) != 0 && at + 1 < size) {
            length = data[at] | static_cast<std::size_t>(data[at + 1]) << 8;
            at += 2;
        } else if (at < size) {
            length = data[at++];
        }
        length = std::min(length, size - at);
        std::string bytes(reinterpret_cast<const char*>(data) + at, length);
        at += length;
        if ((kind & 2) == 0) {
            if (bytes == kNegotiation) {
                continue;
            }
            bytes = rspframe::frame(bytes);
        } else if (bytes.find(kNegotiation) != std::string::npos) {
            continue;
        }
        if ((kind & 1) == 0) {
            fuzzRequire(send(pair[1], bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
                        "GDB's bytes go out");
            running = handleAll(gdb, server, pair[1], &server);
        } else {
            // Laid straight into the server endpoint's buffer: the simulator never sends stop replies of its
            // own.
            RspBuffer& buffer = server.getReceiveBuffer();
            int fitting = static_cast<int>(std::min<std::size_t>(bytes.size(), buffer.getFreeSize()));
            std::memcpy(buffer.getFreeSpace(), bytes.data(), static_cast<std::size_t>(fitting));
            buffer.addReceived(fitting);
            running = handleAll(server, gdb, pair[1], nullptr);
        }
        // What the server sent back to packets forwarded to it, as the loop would take it next.
        running = running && handleAll(server, gdb, pair[1], nullptr);
    }
    Tarnwick::getInstance().loadDriver(nullptr);
    ::close(pair[1]);
    return 0;
}
