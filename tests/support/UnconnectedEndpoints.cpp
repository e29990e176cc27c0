#include "UnconnectedEndpoints.h"

#include "rsp/ClientSocket.h"

UnconnectedEndpoints::UnconnectedEndpoints()
    : gdb(new ClientSocket("127.0.0.1", 0), "GDB Client", ROLE_GDB_CLIENT),
      server(new ClientSocket("127.0.0.1", 0), "GDB Server", ROLE_GDB_SERVER) {}

void UnconnectedEndpoints::receive(RspClient& from, const std::string& payload) {
    RspBuffer& buffer = from.getReceiveBuffer();
    buffer.clear();
    buffer.createPacket(payload, RSP_PACKET_COMMAND);
    buffer.resetPacket();
    buffer.parseForPacket();
}
