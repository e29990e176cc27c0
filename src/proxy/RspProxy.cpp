#include "proxy/RspProxy.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "rsp/AckMode.h"
#include "rsp/ClientSocket.h"
#include "rsp/RspClient.h"
#include "rsp/ServerSocket.h"

#include <memory>
#include <utility>
#include <vector>

namespace {

const char* const kDefaultHost = "127.0.0.1";
const unsigned short kDefaultServerPort = 61234;
const unsigned short kDefaultListenPort = 60000;
const unsigned int kDefaultConnectTimeout = 15;

} // namespace

bool RspProxy::init() {
    Properties& properties = Properties::getInstance();
    if (!properties.getProperty("--server", serverName)) {
        serverName.clear();
    }
    bool result = readServerConnection();
    result = readListenAddress() && result;
    listenPort = kDefaultListenPort;
    if (!properties.getPort("--port", listenPort)) {
        Logger::getInstance().log(Logger::LOG_ERROR, "init", "Invalid format: %s <portnumber 1-65535>\n",
                                  "--port");
        result = false;
    }
    if (!properties.getProperty("--gdbserver_connect_timeout", connectTimeout)) {
        connectTimeout = kDefaultConnectTimeout;
    }
    if (!properties.getProperty("--bypass", bypass)) {
        bypass = false;
    }
    if (!properties.getProperty("--persist", persistent)) {
        persistent = false;
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
    std::string host;
    bool valid = Properties::parseHostPort(connection, host, serverPort);
    if (valid) {
        serverHost = host.empty() ? kDefaultHost : host;
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
    if (ServerSocket::resolves(listenAddress)) {
        return true;
    }
    Logger::getInstance().log(Logger::LOG_ERROR, "init", "Invalid format: %s <hostname/ip address>\n",
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
    try {
        // Listening comes first, so that a GDB started early waits in the backlog.
        listener.reset(new ServerSocket(listenPort, listenAddress));
        serverSocket.reset(new ClientSocket(serverHost, serverPort));
        serverReached = reachServer(*serverSocket);
        if (serverReached) {
            logListening();
        } else {
            result = false;
        }
    } catch (...) {
        logger.log(Logger::LOG_ERROR, "run", "Failed listen for incoming connections on port: %d\n",
                   listenPort);
        result = false;
    }

    if (serverReached && persistent) {
        result = servePersistently(*listener, std::move(serverSocket));
    } else if (serverReached) {
        try {
            acceptedSocket.reset(listener->WaitConnection());
            if (!acceptedSocket) {
                throw "ERROR";
            }
            logger.log(Logger::LOG_INFO, "run", "Connected\n");
            result = serveSession(acceptedSocket.release(), serverSocket.release());
        } catch (...) {
            logger.log(Logger::LOG_ERROR, "run", "Failed\n");
            result = false;
        }
    }

    listener.reset();
    serverSocket.reset();
    acceptedSocket.reset();
    return result;
}

void RspProxy::stop() {
    running = false;
    stopRequested = true;
    ServerSocket* listener = waitingListener;
    if (listener != nullptr) {
        listener->stop();
    }
}

bool RspProxy::reachServer(ClientSocket& socket) const {
    Logger& logger = Logger::getInstance();
    logger.log(Logger::LOG_INFO, "run", "Connecting to GDB server %s on port %d ... ", serverHost.c_str(),
               serverPort);
    bool reached = socket.tryConnect(connectTimeout);
    logger.log(Logger::LOG_INFO, "run", reached ? "Connected\n" : "Failed\n");
    return reached;
}

bool RspProxy::serveSession(ClientSocket* gdbSocket, ClientSocket* serverSocket) {
    RspClient client(gdbSocket, "GDB Client", ROLE_GDB_CLIENT);
    RspClient server(serverSocket, "GDB Server", ROLE_GDB_SERVER);
    bool result = doProxyWork(&client, &server);
    if (!result) {
        Logger::getInstance().log(Logger::LOG_ERROR, "run", "Failed running proxy\n");
    }
    return result;
}

bool RspProxy::servePersistently(ServerSocket& listener, std::unique_ptr<ClientSocket> serverSocket) {
    Logger& logger = Logger::getInstance();
    waitingListener = &listener;
    bool result = true;
    while (!stopRequested) {
        std::unique_ptr<ClientSocket> gdbSocket;
        try {
            gdbSocket.reset(listener.WaitConnection());
        } catch (...) {
            logger.log(Logger::LOG_ERROR, "run", "Failed\n");
            result = false;
            break;
        }
        if (!gdbSocket) {
            // Ends the line of the wait that the stop cut short.
            logger.log(Logger::LOG_INFO, "run", "Stopped\n");
            break;
        }
        logger.log(Logger::LOG_INFO, "run", "Connected\n");
        // The first GDB finds the server reached already; a later one whose server cannot be reached is
        // sent away.
        if (!serverSocket) {
            serverSocket.reset(new ClientSocket(serverHost, serverPort));
            if (!reachServer(*serverSocket)) {
                serverSocket.reset();
            }
        }
        if (serverSocket) {
            serveSession(gdbSocket.release(), serverSocket.release());
            logger.log(Logger::LOG_INFO, "run", "Closed connection to GDB server\n");
            forgetSession();
        }
        // A stop during the session ends the run here, with no wait to announce.
        if (!stopRequested) {
            logListening();
        }
    }
    waitingListener = nullptr;
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
        if (from == nullptr) {
            ClientSocket* ready = nullptr;
            if (ClientSocket::waitData(sockets, ready, ClientSocket::kWaitForever) !=
                ClientSocket::WAIT_READY) {
                // Also the way out when a signal interrupts the wait.
                running = false;
                result = false;
                break;
            }
            from = ready == sockets[0] ? client : server;
            if (from->receive() < 1) {
                logger.log(Logger::LOG_INFO, "doProxyWork", "Lost connection to %s\n",
                           from->getName().c_str());
                running = false;
                break;
            }
        }
        RspClient* to = from == client ? server : client;
        const Outcome outcome = relay(*from, *to, ackMode);
        if (outcome == Outcome::FAILED) {
            logger.log(Logger::LOG_ERROR, "doProxyWork", "Failed handle packet from: %s to: %s\n",
                       from->getName().c_str(), to->getName().c_str());
            result = false;
        } else if (outcome == Outcome::LOST) {
            logger.log(Logger::LOG_INFO, "doProxyWork", "Lost connection to %s\n", from->getName().c_str());
        }
        if (outcome != Outcome::GOING) {
            running = false;
        }
    }
    client->setAckMode(nullptr);
    server->setAckMode(nullptr);
    return result;
}

RspProxy::Outcome RspProxy::relay(RspClient& from, RspClient& to, const AckMode& ackMode) {
    while (running) {
        // Asked before any search for the frame's end: a reply that passes is never summed nor copied whole.
        if (!passesUnseen(from, ackMode)) {
            if (from.takePacket() > 0) {
                if (!handlePacket(from, to)) {
                    return Outcome::FAILED;
                }
                continue;
            }
            // Nothing, or a frame that someone must see whole: the next read completes it. Stray bytes in
            // front of a frame are gone now, and the frame is asked about again.
            if (!passesUnseen(from, ackMode)) {
                return Outcome::GOING;
            }
        }
        const RspClient::Passage passage = from.passFrame(to);
        if (passage == RspClient::Passage::LOST) {
            return Outcome::LOST;
        }
        if (passage == RspClient::Passage::WRITE_FAILED) {
            Logger::getInstance().log(Logger::LOG_ERROR, "handlePacket",
                                      "Failed forwarding data from: %s to: %s\n", from.getName().c_str(),
                                      to.getName().c_str());
            return Outcome::FAILED;
        }
    }
    return Outcome::GOING;
}

bool RspProxy::passesUnseen(RspClient& from, const AckMode& ackMode) {
    // GDB's own frames are small, and a server frame that no request asked for is checked whole, its size
    // among it: only the reply to a request of GDB's, which may be long, is worth passing as it comes.
    if (from.getRole() != ROLE_GDB_SERVER || !from.awaitsForwardedReply() || !from.holdsFrameStart()) {
        return false;
    }
    RspBuffer& received = from.getReceiveBuffer();
    const unsigned char* head = received.getBuffer();
    const int length = received.getLength();
    FrameScreen::Verdict verdict = ackMode.screen(from.getRole(), head, length);
    if (!bypass) {
        verdict = FrameScreen::either(verdict, screenFrame(from, head, length));
    }
    return verdict == FrameScreen::Verdict::PASS;
}

FrameScreen::Verdict RspProxy::screenFrame(RspClient&, const unsigned char*, int) {
    return FrameScreen::Verdict::WHOLE;
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
