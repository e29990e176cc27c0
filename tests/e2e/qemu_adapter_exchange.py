"""The QEMU adapter byte for byte, between a client socket of this test and a fake QEMU gdbstub.

The fake acknowledges every frame and sends its '+' and its reply in two writes, as QEMU does, serves
target.xml with two <xi:include> annexes in chunks of at most 40 bytes with QEMU's escapes, answers a few
packets from a table, refuses one frame once with '-', and stops the target after "c" or on 0x03. The
client names kernel threads in vCont, H and T packets, which reach the fake with the id of the fake's
one thread, learnt from its stop replies. The test asserts every byte the client receives and every byte
the fake receives.
"""

import argparse
import os
import re
import socket
import subprocess
import sys
import threading
import time

import harness

ADAPTER = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support",
                                        "qemu_adapter", "qemu_adapter.py"))
FAKE_CHUNK = 40
ADAPTER_CHUNK = 0x7F0
TIMEOUT = 5.0

TOP = (b'<?xml version="1.0"?><!DOCTYPE target SYSTEM "gdb-target.dtd"><target><architecture>arm</architecture>'
       b'<xi:include href="arm-m-profile.xml"/><xi:include href="extra.xml"/></target>')
ANNEXES = {
    b"target.xml": TOP,
    b"arm-m-profile.xml": (b'<?xml version="1.0"?>\n<!DOCTYPE feature SYSTEM "gdb-target.dtd">\n'
                           b'<feature name="org.gnu.gdb.arm.m-profile">\n  <reg name="r0" bitsize="32"/>\n'
                           b'  <reg name="xpsr" bitsize="32" regnum="25"/>\n</feature>\n'),
    b"extra.xml": (b'<?xml version="1.0"?><feature name="org.example.extra"><!-- a}b$c#d*e --></feature>'
                   b'<feature name="org.example.empty"/>'),
}
INLINED = (b'<?xml version="1.0"?><!DOCTYPE target SYSTEM "gdb-target.dtd"><target><architecture>arm</architecture>'
           b'<feature name="org.gnu.gdb.arm.m-profile">\n  <reg name="r0" bitsize="32"/>\n'
           b'  <reg name="xpsr" bitsize="32" regnum="25"/>\n</feature>'
           b'<feature name="org.example.extra"><!-- a}b$c#d*e --></feature><feature name="org.example.empty"/>'
           b'</target>')
QSUPPORTED = b"qSupported:multiprocess-;xmlRegisters=arm"
QEMU_FEATURES = b"PacketSize=1000;qXfer:features:read+;vContSupported+;multiprocess+"
# The fake's one thread is 01 until the step below reports it as 02.
THREAD_PACKETS = [
    (b"vCont;s:20000a40;c", b"vCont;s:01;c", b"T05thread:02;"),
    (b"Hg20000810", b"Hg02", b"OK"),
    (b"Hc-1", b"Hc-1", b"OK"),
    (b"Hg0", b"Hg0", b"OK"),
    (b"T20000810", b"T02", b"OK"),
    (b"vCont;c:p1.-1", b"vCont;c:p1.-1", b"E22"),
    (b"vCont;s:20000810", b"vCont;s:02", b"T05thread:02;"),
]
REPLIES = {QSUPPORTED: QEMU_FEATURES, b"m20000000,4": b"a5a5a5a5", b"m0,4": b"00000000"}
REPLIES.update({received: reply for _, received, reply in THREAD_PACKETS})
XFER = re.compile(rb"^qXfer:features:read:([^:]+):([0-9a-f]+),([0-9a-f]+)$")


def frame(payload):
    return b"$" + payload + b"#" + b"%02x" % (sum(payload) & 0xFF)


def escape(data):
    out = bytearray()
    for byte in data:
        out += bytes((0x7D, byte ^ 0x20)) if byte in b"#$}*" else bytes((byte,))
    return bytes(out)


class FakeQemu:
    """A gdbstub with acknowledgements always on, on its own thread; received holds every byte it got."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.received = bytearray()
        self.refused_once = False
        self.continues = 0
        self.lock = threading.Lock()
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def answer(self, payload):
        found = XFER.match(payload)
        if found:
            text = ANNEXES.get(found.group(1))
            if text is None:
                return b"E00"
            offset, length = int(found.group(2), 16), min(int(found.group(3), 16), FAKE_CHUNK)
            marker = b"m" if offset + length < len(text) else b"l"
            return marker + escape(text[offset:offset + length])
        return REPLIES.get(payload, b"")

    def serve(self):
        self.listener.settimeout(TIMEOUT)
        try:
            conn, _ = self.listener.accept()
        except socket.timeout:
            return
        conn.settimeout(TIMEOUT)
        data = bytearray()
        with conn:
            while True:
                try:
                    chunk = conn.recv(4096)
                except OSError:
                    return
                if not chunk:
                    return
                with self.lock:
                    self.received += chunk
                data += chunk
                while data:
                    if data[:1] == b"\x03":
                        del data[:1]
                        conn.sendall(frame(b"T02thread:01;"))
                        continue
                    if data[:1] != b"$":
                        del data[:1]
                        continue
                    end = data.find(b"#")
                    if end < 0 or len(data) < end + 3:
                        break
                    payload = bytes(data[1:end])
                    del data[:end + 3]
                    if payload == b"m0,4" and not self.refused_once:
                        self.refused_once = True
                        conn.sendall(b"-")
                        continue
                    conn.sendall(b"+")
                    if payload != b"c":
                        conn.sendall(frame(self.answer(payload)))
                        continue
                    # The first continue stops at once, as at a breakpoint; the second runs until 0x03.
                    self.continues += 1
                    if self.continues == 1:
                        time.sleep(0.05)
                        conn.sendall(frame(b"T05thread:01;"))

    def bytes_received(self):
        with self.lock:
            return bytes(self.received)


class Client:
    """This test's end of the adapter: what tarnwick or GDB would be."""

    def __init__(self, port):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=TIMEOUT)

    def send(self, data):
        self.sock.sendall(data)

    def expect(self, expected, step):
        data = b""
        deadline = time.monotonic() + TIMEOUT
        while len(data) < len(expected) and time.monotonic() < deadline:
            self.sock.settimeout(max(deadline - time.monotonic(), 0.01))
            try:
                chunk = self.sock.recv(4096)
            except socket.timeout:
                break
            if not chunk:
                break
            data += chunk
        data += self.drain(0.1)
        if data != expected:
            raise AssertionError("%s: the client received %r, expected %r" % (step, data, expected))

    def drain(self, seconds):
        self.sock.settimeout(seconds)
        try:
            return self.sock.recv(4096)
        except socket.timeout:
            return b""


def expected_qemu_bytes():
    """What the fake must have received: no byte of the client's acknowledgements, a '+' for each of its
    replies, the adapter's own reads of target.xml and its annexes, and the refused frame twice."""
    out = frame(QSUPPORTED) + b"+"
    for annex in (b"target.xml", b"arm-m-profile.xml", b"extra.xml"):
        for offset in range(0, len(ANNEXES[annex]), FAKE_CHUNK):
            out += frame(b"qXfer:features:read:%s:%x,%x" % (annex, offset, ADAPTER_CHUNK)) + b"+"
    out += frame(b"m20000000,4") + b"+"
    out += frame(b"m0,4") + frame(b"m0,4") + b"+"
    for _, received, _ in THREAD_PACKETS:
        out += frame(received) + b"+"
    out += frame(b"c") + b"+"
    out += frame(b"c") + b"\x03" + b"+"
    return out


def run(session):
    fake = FakeQemu()
    adapter, port = session.start_qemu_adapter(ADAPTER, fake.port)
    client = Client(port)

    client.send(b"+" + frame(QSUPPORTED))
    client.expect(b"+" + frame(QEMU_FEATURES + b";QStartNoAckMode+"), "qSupported")
    client.send(frame(b"QStartNoAckMode"))
    client.expect(b"+" + frame(b"OK"), "QStartNoAckMode")

    served, offset, chunk = b"", 0, 0x50
    while True:
        client.send(frame(b"qXfer:features:read:target.xml:%x,%x" % (offset, chunk)))
        part = INLINED[offset:offset + chunk]
        marker = b"m" if offset + chunk < len(INLINED) else b"l"
        client.expect(frame(marker + escape(part)), "target.xml at offset 0x%x" % offset)
        served += part
        offset += chunk
        if marker == b"l":
            break
    if served != INLINED:
        raise AssertionError("target.xml served as %r" % served)

    client.send(b"+" + frame(b"m20000000,4"))
    client.expect(frame(b"a5a5a5a5"), "a memory read after no-ack mode")
    client.send(frame(b"m0,4"))
    client.expect(frame(b"00000000"), "a frame QEMU refused once")
    for sent, _, reply in THREAD_PACKETS:
        client.send(frame(sent))
        client.expect(frame(reply), sent.decode())
    client.send(frame(b"c"))
    client.expect(frame(b"T05thread:01;"), "continue")
    client.send(frame(b"c"))
    if client.drain(0.2):
        raise AssertionError("the client received something while the target ran")
    client.send(b"\x03")
    client.expect(frame(b"T02thread:01;"), "the break byte")
    client.sock.close()

    try:
        adapter.popen.wait(timeout=TIMEOUT)
    except subprocess.TimeoutExpired:
        raise AssertionError("the adapter did not end after its client closed")
    fake.thread.join(TIMEOUT)
    received = fake.bytes_received()
    if received != expected_qemu_bytes():
        raise AssertionError("the fake QEMU received:\n%r\nexpected:\n%r" % (received, expected_qemu_bytes()))
    if adapter.popen.returncode != 0 or "qemu_adapter: the client closed the connection" not in adapter.stdout():
        raise AssertionError("the adapter ended badly:\n" + adapter.describe())


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--keep-files", action="store_true", help="keep the scratch directory for inspection")
    args = parser.parse_args()
    with harness.Session(keep_files=args.keep_files) as session:
        try:
            run(session)
        except (AssertionError, harness.HarnessError, OSError) as failure:
            print("FAIL: %s" % failure)
            return 1
    print("adapter exchange: every byte as expected on both sides")
    return 0


if __name__ == "__main__":
    sys.exit(main())
