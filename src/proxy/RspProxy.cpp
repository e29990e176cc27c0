#include "proxy/RspProxy.h"

#include "app/Logger.h"
#include "app/Properties.h"
#include "app/StringUtil.h"
#include "rsp/AckMode.h"
#include "rsp/ClientSocket.h"
#include "rsp/RspClient.h"
#include "rsp/ServerSocket.h"

#include <arpa/inet.h>

#include <memory>
#include <vector>

namespace {

const char* const kDefaultHost = "127.0.0.1";
const unsigned short kDefaultServerPort = 61234;
const unsigned short kDefaultListenPort = 60000;
const unsigned int kDefaultConnectTimeout = 15;
const unsigned long kHighestPort = 65535;

} // namespace

bool RspProxy::init() {
    Properties& properties = Properties::getInstance();
    if (!properties.getProperty("--server", serverName)) {
        serverName.clear();
    }
    bool result = readServerConnection();
    result = readListenAddress() && result;
    if (!properties.getProperty("--port", listenPort)) {
        listenPort = kDefaultListenPort;
    }
    if (!properties.getProperty("--gdbserver_connect_timeout", connectTimeout)) {
        connectTimeout = kDefaultConnectTimeout;
    }
    if (!properties.getProperty("--bypass", bypass)) {
        bypass = false;
    }
    return result;
}

bool RspProxy::readServerConnection() {
    std::string connection;
    if (!Properties::getInstance().getProperty("--server_connection", connection)) {
        serverHost = kDefaultHost;
        serverPort = kDefaultServerPort;
        return true;
    }
    std::vector<std::string> pieces = StringUtil::split(connection, ':');
    bool valid = pieces.size() == 2;
    if (valid) {
        serverHost = pieces[0].empty() ? kDefaultHost : pieces[0];
        try {
            // stoul stops at the first non-digit, so "3333x" passes as 3333.
            unsigned long port = std::stoul(pieces[1], nullptr, 10);
            valid = port <= kHighestPort;
            if (valid) {
                serverPort = static_cast<unsigned short>(port);
            }
        } catch (...) {
            valid = false;
        }
    }
    if (!valid) {
        Logger::getInstance().log(Logger::LOG_ERROR, "init", "Invalid format: %s <hostname/ip:portnumber>\n",
                                  "--server_connection");
    }
    return valid;
}

bool RspProxy::readListenAddress() {
    if (!Properties::getInstance().getProperty("--listen_address", listenAddress)) {
        listenAddress = ServerSocket::kLoopbackAddress;
        return true;
    }
    in_addr parsed{};
    if (inet_pton(AF_INET, listenAddress.c_str(), &parsed) == 1) {
        return true;
    }
    Logger::getInstance().log(Logger::LOG_ERROR, "init", "Invalid format: %s <ip address>\n",
                              "--listen_address");
    listenAddress = ServerSocket::kLoopbackAddress;
    return false;
}

bool RspProxy::run() {
    Logger& logger = Logger::getInstance();
    bool result = true;
    bool serverReached = false;
    std::unique_ptr<ServerSocket> listener;
    std::unique_ptr<ClientSocket> serverSocket;
    std::unique_ptr<ClientSocket> acceptedSocket;
    std::unique_ptr<RspClient> server;
    std::unique_ptr<RspClient> client;
    try {
        // Listening comes first, so that a GDB started early waits in the backlog.
        listener.reset(new ServerSocket(listenPort, listenAddress));
        logger.log(Logger::LOG_INFO, "run", "Connecting to GDB server %s on port %d ... ", serverHost.c_str(),
                   serverPort);
        serverSocket.reset(new ClientSocket(serverHost, serverPort));
        serverReached = serverSocket->tryConnect(connectTimeout);
        if (serverReached) {
            logger.log(Logger::LOG_INFO, "run", "Connected\n");
            logListening();
        } else {
            logger.log(Logger::LOG_INFO, "run", "Failed\n");
            result = false;
        }
    } catch (...) {
        logger.log(Logger::LOG_ERROR, "run", "Failed listen for incoming connections on port: %d\n",
                   listenPort);
        result = false;
    }

    if (serverReached) {
        try {
            acceptedSocket.reset(listener->WaitConnection());
            if (!acceptedSocket) {
                throw "ERROR";
            }
            logger.log(Logger::LOG_INFO, "run", "Connected\n");
            client.reset(new RspClient(acceptedSocket.release(), "GDB Client", ROLE_GDB_CLIENT));
            server.reset(new RspClient(serverSocket.release(), "GDB Server", ROLE_GDB_SERVER));
            if (!doProxyWork(client.get(), server.get())) {
                logger.log(Logger::LOG_ERROR, "run", "Failed running proxy\n");
                result = false;
            }
        } catch (...) {
            logger.log(Logger::LOG_ERROR, "run", "Failed\n");
            result = false;
        }
    }

    listener.reset();
    server.reset();
    serverSocket.reset();
    client.reset();
    acceptedSocket.reset();
    return result;
}

void RspProxy::logListening() const {
    Logger& logger = Logger::getInstance();
    if (listenAddress == ServerSocket::kLoopbackAddress) {
        logger.log(Logger::LOG_INFO, "run", "Listen for GDB connection on port: %d ... ", listenPort);
        return;
    }
    // Anyone who reaches this address can drive the target: say so where the user looks.
    logger.log(Logger::LOG_INFO, "run", "Listen for GDB connection on port: %d (address %s) ... ", listenPort,
               listenAddress.c_str());
}

bool RspProxy::doProxyWork(RspClient* client, RspClient* server) {
    Logger& logger = Logger::getInstance();
    // GDB comes first, so it has the turn when both sides are readable.
    std::vector<ClientSocket*> sockets = {client->getClientSocket(), server->getClientSocket()};
    AckMode ackMode;
    client->setAckMode(&ackMode);
    server->setAckMode(&ackMode);
    bool result = true;
    running = true;
    while (running) {
        // A wait for a '+' can have read the next packet of a peer along with it.
        RspClient* from = client->holdsPacket() ? client : server->holdsPacket() ? server : nullptr;
        ClientSocket* ready = nullptr;
        if (from == nullptr &&
            ClientSocket::waitData(sockets, ready, ClientSocket::kWaitForever) != ClientSocket::WAIT_READY) {
            // Also the way out when a signal interrupts the wait.
            running = false;
            result = false;
            break;
        }
        if (from == nullptr) {
            from = ready == sockets[0] ? client : server;
        }
        RspClient* to = from == client ? server : client;
        int received = 0;
        do {
            received = from->getPacket(0);
            if (received > 0 && !handlePacket(*from, *to)) {
                logger.log(Logger::LOG_ERROR, "doProxyWork", "Failed handle packet from: %s to: %s\n",
                           from->getName().c_str(), to->getName().c_str());
                running = false;
                result = false;
            } else if (received < 0) {
                logger.log(Logger::LOG_INFO, "doProxyWork", "Lost connection to %s\n",
                           from->getName().c_str());
                running = false;
            }
        } while (running && received > 0);
    }
    client->setAckMode(nullptr);
    server->setAckMode(nullptr);
    return result;
}

bool RspProxy::handlePacket(RspClient& from, RspClient& to) {
    bool handled = false;
    if (!bypass && !interceptPacket(from, to, handled)) {
        Logger::getInstance().log(Logger::LOG_ERROR, "handlePacket", "Packet intercept failed: %s to: %s\n",
                                  from.getName().c_str(), to.getName().c_str());
        return false;
    }
    if (handled) {
        return from.settleAck();
    }
    if (from.forwardPacket(to) < 1) {
        Logger::getInstance().log(Logger::LOG_ERROR, "handlePacket",
                                  "Failed forwarding data from: %s to: %s\n", from.getName().c_str(),
                                  to.getName().c_str());
        return false;
    }
    return true;
}
