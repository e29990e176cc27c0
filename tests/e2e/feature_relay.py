"""A relay between a GDB client and a GDB server that adds one feature to the server's qSupported reply.

Every other byte passes through as it came, acknowledgements included, so the client meets a server that
announces what QEMU's gdbstub does not (qXfer:threads:read, which OpenOCD-class servers offer). Standard
library only.
"""

import socket
import threading

QSUPPORTED = b"qSupported"


def checksum(payload):
    return b"%02x" % (sum(payload) % 256)


def complete_packet(buffered):
    """(bytes before the packet, its payload, what follows) once buffered holds a whole $payload#xx, else None."""
    start = buffered.find(b"$")
    end = buffered.find(b"#", start) if start >= 0 else -1
    if end < 0 or len(buffered) < end + 3:
        return None
    return buffered[:start], buffered[start + 1:end], buffered[end + 3:]


class FeatureRelay:
    """Listens on a free port of 127.0.0.1 for one client and connects it to the server on server_port.

    announced counts the qSupported replies the relay extended; requests holds the payloads of the client's
    packets that start with the prefix given as counted, in order."""

    def __init__(self, server_port, feature, counted):
        self.server_port = server_port
        self.feature = feature
        self.counted = counted
        self.announced = 0
        self.requests = []
        self.listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        self.listener.bind(("127.0.0.1", 0))
        self.listener.listen(1)
        self.port = self.listener.getsockname()[1]
        self.sockets = [self.listener]
        self.awaiting_reply = threading.Event()
        threading.Thread(target=self.serve, daemon=True).start()

    def close(self):
        for end in self.sockets:
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            end.close()

    def serve(self):
        try:
            client, _ = self.listener.accept()
            server = socket.create_connection(("127.0.0.1", self.server_port))
        except OSError:
            return
        self.sockets += [client, server]
        # Each read goes on at once, as the two ends would send it to each other: a small write held back for
        # the peer's delayed acknowledgement would cost every round trip some 40 ms.
        for end in (client, server):
            end.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        threading.Thread(target=self.from_client, args=(client, server), daemon=True).start()
        self.from_server(server, client)

    def from_client(self, client, server):
        held = b""
        for data in chunks(client):
            held += data
            packet = complete_packet(held)
            while packet is not None:
                _, payload, held = packet
                if payload.startswith(self.counted):
                    self.requests.append(payload)
                if payload.startswith(QSUPPORTED):
                    self.awaiting_reply.set()
                packet = complete_packet(held)
            server.sendall(data)
        end_writing(server)

    def from_server(self, server, client):
        held = b""
        for data in chunks(server):
            if not self.awaiting_reply.is_set() and not held:
                client.sendall(data)
                continue
            held += data
            packet = complete_packet(held)
            if packet is None:
                continue
            before, payload, after = packet
            extended = payload + self.feature
            client.sendall(before + b"$" + extended + b"#" + checksum(extended) + after)
            self.announced += 1
            self.awaiting_reply.clear()
            held = b""
        end_writing(client)


def end_writing(end):
    """Passes the end of one direction on; the relay may be closed meanwhile."""
    try:
        end.shutdown(socket.SHUT_WR)
    except OSError:
        pass


def chunks(end):
    """What end reads until it closes."""
    while True:
        try:
            data = end.recv(65536)
        except OSError:
            return
        if not data:
            return
        yield data
