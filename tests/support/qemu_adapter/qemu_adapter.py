#!/usr/bin/env python3
"""qemu_adapter: an RSP relay between tarnwick (or GDB) and the gdbstub of qemu-system-arm.

QEMU's gdbstub keeps acknowledgements on and describes its registers only through <xi:include> annexes of
target.xml. Towards QEMU this relay acknowledges every frame it receives and swallows QEMU's '+' for the
frames it sends. Towards its client it offers QStartNoAckMode+ in the qSupported reply, answers
QStartNoAckMode itself and from then on sends no acknowledgement (it does acknowledge the client's frames
before that, as a GDB server must, or GDB would not take its first replies), and it serves target.xml with
every annex's <feature> elements put in place of the includes, in the chunks the client asks for
(--keep-includes leaves target.xml as QEMU writes it, so that the client reads the annexes itself).
Like the server of a single-core probe, it takes any thread id that the client names in vCont, H and T
packets for the one core: such an id goes to QEMU as the id of QEMU's own thread, so that a client which
speaks of kernel threads (GDB behind tarnwick) can step and continue; QEMU itself answers E22 for an id it
does not know. The ids 0 (any thread) and -1 (all threads) pass as they are.
Everything else, stop replies and the break byte 0x03 included, passes unchanged in both directions.

It serves one client, then exits. The line "qemu_adapter: listening on port N" tells the chosen port.
Standard library only.
"""

import argparse
import re
import select
import socket
import sys
import time

READY_LINE = "qemu_adapter: listening on port %d"
ESCAPED = b"#$}*"
TARGET_XML_REQUEST = re.compile(rb"^qXfer:features:read:target\.xml:([0-9a-fA-F]+),([0-9a-fA-F]+)$")
INCLUDE = re.compile(r"""<xi:include\s+href=["']([^"']+)["']\s*/>""")
FEATURE = re.compile(r"<feature\b[^>]*?/>|<feature\b.*?</feature>", re.DOTALL)
ANNEX_CHUNK = 0x7f0
MAX_INCLUDE_DEPTH = 4
# QEMU numbers the thread of its first (here only) CPU 1; a stop reply of QEMU's may say otherwise.
QEMU_FIRST_THREAD = b"01"
STOP_THREAD = re.compile(rb"^T[0-9a-fA-F]{2}(?:.*;)?thread:([^;]+);")
H_PACKET = re.compile(rb"^(H[a-zA-Z])(.+)$")
T_PACKET = re.compile(rb"^T([0-9a-fA-F]+)$")
ANY_THREAD = (b"0", b"-1")


class RelayError(Exception):
    """QEMU did not answer as needed, or a connection could not be made."""


def checksum(payload):
    return b"%02x" % (sum(payload) & 0xFF)


def frame(payload):
    return b"$" + payload + b"#" + checksum(payload)


def escape_binary(data):
    out = bytearray()
    for byte in data:
        if byte in ESCAPED:
            out += bytes((0x7D, byte ^ 0x20))
        else:
            out.append(byte)
    return bytes(out)


def core_thread_ids(payload, core):
    """payload with every thread id of a vCont action, an H packet or a T packet replaced by core; 0, -1
    and the p<pid>.<tid> form of the multiprocess extension stay. Other packets come back unchanged."""
    def one(thread):
        return thread if thread in ANY_THREAD or thread.startswith(b"p") else core

    if payload.startswith(b"vCont;"):
        actions = []
        for action in payload[len(b"vCont;"):].split(b";"):
            name, colon, thread = action.partition(b":")
            actions.append(name + colon + one(thread) if colon else action)
        return b"vCont;" + b";".join(actions)
    found = H_PACKET.match(payload)
    if found:
        return found.group(1) + one(found.group(2))
    found = T_PACKET.match(payload)
    if found:
        return b"T" + one(found.group(1))
    return payload


def decode_binary(data):
    """Undoes '}' escapes and '*' run lengths of a reply payload."""
    out = bytearray()
    index = 0
    while index < len(data):
        byte = data[index]
        if byte == 0x7D and index + 1 < len(data):
            out.append(data[index + 1] ^ 0x20)
            index += 2
        elif byte == 0x2A and out and index + 1 < len(data):
            out += bytes((out[-1],)) * (data[index + 1] - 29)
            index += 2
        else:
            out.append(byte)
            index += 1
    return bytes(out)


class Framer:
    """Splits a byte stream into ('ack', b'+'), ('nak', b'-'), ('break', b'\\x03') and ('frame', raw,
    payload) items; bytes outside a frame that are none of these are dropped."""

    def __init__(self):
        self.data = bytearray()

    def feed(self, chunk):
        self.data += chunk

    def items(self):
        while self.data:
            first = self.data[0]
            if first in b"+-\x03":
                del self.data[0]
                yield {0x2B: "ack", 0x2D: "nak", 0x03: "break"}[first], bytes((first,)), b""
                continue
            if first not in b"$%":
                del self.data[0]
                continue
            end = self.data.find(b"#")
            if end < 0 or len(self.data) < end + 3:
                return
            raw = bytes(self.data[:end + 3])
            del self.data[:end + 3]
            yield ("frame" if first == 0x24 else "notification"), raw, raw[1:end]


class Peer:
    """One connected socket with its framer; reads never block longer than asked."""

    def __init__(self, name, sock):
        self.name = name
        self.sock = sock
        self.framer = Framer()
        self.pending = []

    def send(self, data):
        self.sock.sendall(data)

    def fill(self, timeout):
        """Reads what arrives within timeout seconds into the pending items; False once the peer closed."""
        ready, _, _ = select.select([self.sock], [], [], max(timeout, 0))
        if not ready:
            return True
        chunk = self.sock.recv(65536)
        if not chunk:
            return False
        self.framer.feed(chunk)
        self.pending.extend(self.framer.items())
        return True


class Relay:
    def __init__(self, client, qemu, reply_timeout, verbose, inline=True):
        self.client = client
        self.inline_annexes = inline
        self.qemu = qemu
        self.reply_timeout = reply_timeout
        self.verbose = verbose
        self.client_acks = True
        self.last_to_qemu = b""
        self.target_xml = None
        self.core_thread = QEMU_FIRST_THREAD

    def log(self, direction, data):
        if self.verbose:
            sys.stderr.write("qemu_adapter: %s %s\n" % (direction, data.decode("latin-1")))
            sys.stderr.flush()

    # Towards QEMU.
    def to_qemu(self, raw):
        self.log("->qemu", raw)
        self.last_to_qemu = raw
        self.qemu.send(raw)

    def from_qemu(self, kind, raw):
        """Handles one item from QEMU in the relay loop: acknowledges frames and hands them on."""
        if kind == "ack":
            return
        if kind == "nak":
            self.qemu.send(self.last_to_qemu)
            return
        if kind in ("frame", "notification"):
            self.log("<-qemu", raw)
            if kind == "frame":
                self.qemu.send(b"+")
                stopped = STOP_THREAD.match(decode_binary(raw[1:-3]))
                if stopped:
                    self.core_thread = stopped.group(1)
            self.to_client(raw)

    def ask_qemu(self, payload):
        """One exchange of the relay's own with QEMU; returns the reply payload, decoded."""
        self.to_qemu(frame(payload))
        deadline = time.monotonic() + self.reply_timeout
        while True:
            while self.qemu.pending:
                kind, raw, body = self.qemu.pending.pop(0)
                if kind == "nak":
                    self.qemu.send(self.last_to_qemu)
                elif kind == "frame":
                    self.log("<-qemu", raw)
                    self.qemu.send(b"+")
                    return decode_binary(body)
            remaining = deadline - time.monotonic()
            if remaining <= 0:
                raise RelayError("no reply from QEMU to %s within %.1f s" % (payload.decode("latin-1"),
                                                                             self.reply_timeout))
            if not self.qemu.fill(remaining):
                raise RelayError("QEMU closed the connection while the relay waited for a reply")

    # Towards the client.
    def to_client(self, raw):
        self.log("->client", raw)
        self.client.send(raw)

    def reply(self, payload):
        self.to_client(frame(payload))

    def from_client(self, kind, raw, payload):
        if kind in ("ack", "nak"):
            return
        if kind == "break" or kind == "notification":
            self.to_qemu(raw)
            return
        self.log("<-client", raw)
        if self.client_acks:
            self.client.send(b"+")
        if payload.startswith(b"qSupported"):
            self.answer_qSupported(payload)
        elif payload == b"QStartNoAckMode":
            self.reply(b"OK")
            self.client_acks = False
        elif self.inline_annexes and TARGET_XML_REQUEST.match(payload):
            self.answer_target_xml(payload)
        else:
            mapped = core_thread_ids(payload, self.core_thread)
            self.to_qemu(raw if mapped == payload else frame(mapped))

    def answer_qSupported(self, payload):
        features = self.ask_qemu(payload)
        if b"QStartNoAckMode+" not in features.split(b";"):
            features = features + b";QStartNoAckMode+" if features else b"QStartNoAckMode+"
        self.reply(features)

    def read_annex(self, annex):
        """The whole text of one qXfer:features annex from QEMU, or None if QEMU refuses it."""
        text = b""
        while True:
            reply = self.ask_qemu(b"qXfer:features:read:%s:%x,%x" % (annex.encode(), len(text), ANNEX_CHUNK))
            if not reply or reply[:1] not in b"ml":
                return None
            text += reply[1:]
            if reply[:1] == b"l":
                return text.decode("latin-1")

    def inline(self, text, depth):
        def replace(include):
            annex = self.read_annex(include.group(1)) if depth < MAX_INCLUDE_DEPTH else None
            if annex is None:
                return include.group(0)
            return "".join(self.inline(feature, depth + 1) for feature in FEATURE.findall(annex))

        return INCLUDE.sub(replace, text)

    def answer_target_xml(self, payload):
        found = TARGET_XML_REQUEST.match(payload)
        offset, length = int(found.group(1), 16), int(found.group(2), 16)
        if self.target_xml is None:
            text = self.read_annex("target.xml")
            if text is None:
                self.reply(b"E01")
                return
            self.target_xml = self.inline(text, 0).encode("latin-1")
        if offset > len(self.target_xml):
            self.reply(b"E01")
            return
        chunk = self.target_xml[offset:offset + length]
        marker = b"m" if offset + length < len(self.target_xml) else b"l"
        self.reply(marker + escape_binary(chunk))

    def run(self):
        while True:
            for peer in (self.client, self.qemu):
                while peer.pending:
                    kind, raw, payload = peer.pending.pop(0)
                    if peer is self.client:
                        self.from_client(kind, raw, payload)
                    else:
                        self.from_qemu(kind, raw)
            ready, _, _ = select.select([self.client.sock, self.qemu.sock], [], [], 1.0)
            for sock in ready:
                peer = self.client if sock is self.client.sock else self.qemu
                if not peer.fill(0):
                    return peer.name + " closed the connection"


def parse_address(text):
    host, _, port = text.rpartition(":")
    return host or "127.0.0.1", int(port)


def connect(address, timeout):
    deadline = time.monotonic() + timeout
    while True:
        try:
            return socket.create_connection(address, timeout=max(deadline - time.monotonic(), 0.1))
        except OSError as error:
            if time.monotonic() >= deadline:
                raise RelayError("cannot connect to QEMU at %s:%d: %s" % (address[0], address[1], error))
            time.sleep(0.1)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--qemu", required=True, metavar="HOST:PORT", help="QEMU's gdbstub (-gdb tcp::PORT)")
    parser.add_argument("--port", type=int, default=0, help="listening port for the client; 0 picks one")
    parser.add_argument("--host", default="127.0.0.1", help="listening address (default 127.0.0.1)")
    parser.add_argument("--accept-timeout", type=float, default=30.0, help="seconds to wait for the client")
    parser.add_argument("--connect-timeout", type=float, default=5.0, help="seconds to reach QEMU")
    parser.add_argument("--reply-timeout", type=float, default=2.0, help="seconds for each reply of QEMU")
    parser.add_argument("--keep-includes", action="store_true",
                        help="pass target.xml and its annexes between client and QEMU as they are")
    parser.add_argument("-v", "--verbose", action="store_true", help="log every frame to standard error")
    args = parser.parse_args()

    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind((args.host, args.port))
    listener.listen(1)
    print(READY_LINE % listener.getsockname()[1], flush=True)
    listener.settimeout(args.accept_timeout)
    try:
        client_sock, _ = listener.accept()
    except socket.timeout:
        print("qemu_adapter: no client within %.0f s" % args.accept_timeout, flush=True)
        return 1
    finally:
        listener.close()
    qemu_sock = None
    try:
        qemu_sock = connect(parse_address(args.qemu), args.connect_timeout)
        for sock in (client_sock, qemu_sock):
            sock.setblocking(True)
            sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        relay = Relay(Peer("the client", client_sock), Peer("QEMU", qemu_sock), args.reply_timeout,
                      args.verbose, inline=not args.keep_includes)
        print("qemu_adapter: " + relay.run(), flush=True)
        return 0
    except (RelayError, OSError) as error:
        print("qemu_adapter: %s" % error, flush=True)
        return 1
    finally:
        for sock in (client_sock, qemu_sock):
            if sock is not None:
                sock.close()


if __name__ == "__main__":
    sys.exit(main())
