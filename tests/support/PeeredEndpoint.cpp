#include "PeeredEndpoint.h"

#include "rsp/ClientSocket.h"

#include <gtest/gtest.h>

PeeredEndpoint PeeredEndpoint::make(const std::string& name, RspClientRole role) {
    PeeredEndpoint pair;
    std::unique_ptr<FakeRspPeer> peer = FakeRspPeer::listen();
    if (!peer) {
        return pair;
    }
    auto socket = std::make_unique<ClientSocket>("127.0.0.1", peer->port());
    if (socket->connect(2) != ClientSocket::CONNECT_OK || !peer->waitConnected()) {
        ADD_FAILURE() << "cannot connect an endpoint to its fake peer";
        return pair;
    }
    pair.peer = std::move(peer);
    pair.endpoint = std::make_unique<RspClient>(socket.release(), name, role);
    return pair;
}
