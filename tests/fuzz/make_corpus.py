#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into tests/fuzz/corpus/<target>/.

The kernel seeds are the RAM images of our own fixture programs, as built, and a few images of the same
programs with lying kernel data; the dump seeds are the structure part of the real readelf dump of those
programs. Run from the top of the tree after a build: python3 tests/fuzz/make_corpus.py build
"""

import os
import struct
import subprocess
import sys

RAM = 0x20000000
HERE = os.path.dirname(os.path.abspath(__file__))

# The end-to-end suites' module reads the programs' symbols here too.
sys.path.insert(0, os.path.join(HERE, "..", "e2e"))
import gdbsession


def ram_image(elf):
    """The bytes of the ELF file's load segments from RAM on, zero-filled up to their memory size."""
    with open(elf, "rb") as f:
        data = f.read()
    phoff, = struct.unpack_from("<I", data, 28)
    phentsize, phnum = struct.unpack_from("<HH", data, 42)
    image = bytearray()
    for i in range(phnum):
        p_type, p_offset, p_vaddr, _, p_filesz, p_memsz = struct.unpack_from("<6I", data, phoff + i * phentsize)
        if p_type != 1 or p_vaddr < RAM:
            continue
        start = p_vaddr - RAM
        if len(image) < start + p_memsz:
            image.extend(b"\0" * (start + p_memsz - len(image)))
        image[start:start + p_filesz] = data[p_offset:p_offset + p_filesz]
    return image


def symbols(elf):
    return {name: address for name, (address, _) in gdbsession.elf_symbols(elf).items()}


def word(image, address):
    return struct.unpack_from("<I", image, address - RAM)[0]


def put(image, address, value):
    image = bytearray(image)
    struct.pack_into("<I", image, address - RAM, value & 0xffffffff)
    return image


def write(target, name, data):
    folder = os.path.join(HERE, "corpus", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def freertos_seeds(fixtures):
    elf = os.path.join(fixtures, "freertos_snapshot.elf")
    image = ram_image(elf)
    sym = symbols(elf)
    delayed = sym["xDelayedTaskList1"]
    write("freertos_walk", "snapshot", image)
    # xLIST: uxNumberOfItems, pxIndex, xListEnd {xItemValue, pxNext, pxPrevious}.
    write("freertos_walk", "count_four_billion", put(image, delayed, 0xffffffff))
    first = word(image, delayed + 12)
    # A list item: xItemValue, pxNext, pxPrevious, pvOwner, pvContainer.
    write("freertos_walk", "item_links_to_itself", put(image, first + 4, first))
    write("freertos_walk", "current_task_nowhere", put(image, sym["pxCurrentTCB"], 0xfffffff0))
    write("freertos_walk", "top_priority_four_billion", put(image, sym["uxTopUsedPriority"], 0xffffffff))


def threadx_seeds(fixtures):
    elf = os.path.join(fixtures, "threadx_state.elf")
    image = ram_image(elf)
    sym = symbols(elf)
    write("threadx_walk", "state", image)
    head = word(image, sym["_tx_thread_created_ptr"])
    write("threadx_walk", "head_nowhere", put(image, sym["_tx_thread_created_ptr"], 0x3ffffff0))
    write("threadx_walk", "current_not_created", put(image, sym["_tx_thread_current_ptr"], head + 4))
    write("threadx_walk", "no_threads", put(image, sym["_tx_thread_created_ptr"], 0))


def dump_seeds(fixtures):
    for program in ("freertos_snapshot", "threadx_state", "member_forms_dwarf2", "real_freertos_mini_list_0_dwarf2"):
        dump = subprocess.run(["arm-none-eabi-readelf", "-wi", os.path.join(fixtures, program + ".elf")],
                              capture_output=True, check=True).stdout
        lines = dump.splitlines(keepends=True)
        # From the first structure on, as much as the fuzzer's longest input takes.
        start = next(i for i, line in enumerate(lines) if line.endswith(b"(DW_TAG_structure_type)\n"))
        write("dump_parser", program, b"".join(lines[max(0, start - 2):])[:60000])


def text_seeds():
    hexname = "785363686564756c657252756e6e696e67"
    write("dump_parser", "sample", b"""Contents of the .debug_info section:

 <1><2f>: Abbrev Number: 3 (DW_TAG_structure_type)
    <30>   DW_AT_name        : (indirect string, offset: 0x4ae): TX_MUTEX_STRUCT
    <34>   DW_AT_byte_size   : 52
    <35>   DW_AT_decl_file   : 2
    <36>   DW_AT_sibling     : <0x9c>
 <2><3a>: Abbrev Number: 4 (DW_TAG_member)
    <3b>   DW_AT_name        : (indirect string, offset: 0x1c1): tx_mutex_id
    <3f>   DW_AT_type        : <0x25>
    <43>   DW_AT_data_member_location: 0
 <2><44>: Abbrev Number: 4 (DW_TAG_member)
    <45>   DW_AT_name        : (indirect string, offset: 0x2f0): tx_mutex_name
    <4d>   DW_AT_data_member_location: 4
 <2><4e>: Abbrev Number: 0
""")
    payloads = {
        "stop_T": "T05thread:1;core:0;", "stop_W": "W00;process:1a", "stop_S": "S05", "symbol_reply":
        "qSymbol:20000104:" + hexname, "symbol_unknown": "qSymbol::706f", "H": "Hc-1", "Hg": "Hg20000810",
        "T": "T20000810", "extra": "qThreadExtraInfo,20000a40", "xfer_threads": "qXfer:threads:read::0,fff",
        "xfer_xml": "qXfer:features:read:target.xml:3ff,3ff", "rcmd": "qRcmd,72746f73202d6d207374617465",
        "m_reply": "78563412a5a5a5a5", "error": "E01", "annex": "l<target><feature/></target>",
        "hostile_name": "a#b<c>\"d$}*&'back\\slash{\"k\":[1]}&amp;}]",
    }
    for name, text in payloads.items():
        write("rsp_util", name, text.encode())
    streams = {
        "session": b"+$qSupported:multiprocess+;swbreak+#c9$?#3f$qSymbol::#5b$qC#b4+$g#67",
        "interrupts": b"\x03\x03+-\x03$m20000000,4#f6\x03",
        "junk_then_frame": b"xyz+ab$qfThreadInfo#bb%Stop:T05#99",
        "dollar_in_payload": b"$m0$qC#00$#00$qRcmd,7274$6f73#00",
        "split": b"$T05thread:20000a40;#",
        "oversize": b"$" + b"a" * 20600 + b"#00",
    }
    for name, data in streams.items():
        write("rsp_framing", name, data)
    options = {
        "ports": "--port\n70000\n--port\n2", "aliases": "PROXY_RSPSERVER_PORT=3333\nPROXY_RSPSERVER_HOST=10.0.0.1",
        "server_args": "a\nb\n--\n--port\n9\n--server_args\n-x y",
        "connection": "--server_connection\n:3333\n--gdbserver_connect_timeout\n-1",
        "driver": "# comment\n\t--rtos\t\n freertos \n--rtos_variant\nARM_CM4F\n--opt_task_sel\ntrue\n--loglevel\n8\r",
        "bad_connection": "--server_connection\n10.0.0.1:3333:1\n--bypass\ntrue\n--port=2000\nPROXY_PORT=2000",
        "names": "--server_connection\n[::1]:3333\n--listen_address\nlocalhost\n--port\n65536",
    }
    for name, text in options.items():
        write("options", name, text.encode())


def record(side, payload, raw=False):
    """One record of the proxy_dispatch input: side 0 GDB, 1 server; a payload to frame, or raw bytes."""
    data = payload.encode("latin-1") if isinstance(payload, str) else payload
    kind = side | (2 if raw else 0)
    if len(data) > 255:
        return bytes([kind | 4]) + struct.pack("<H", len(data)) + data
    return bytes([kind, len(data)]) + data


def dispatch_seeds(fixtures):
    sym = symbols(os.path.join(fixtures, "threadx_state.elf"))
    sensor = "%x" % sym["thread_sensor"]
    hexcmd = lambda text: "qRcmd," + text.encode().hex()
    session = [record(1, "T05thread:1;"), record(1, "T05thread:1;"), record(0, "qfThreadInfo"),
               record(0, "qsThreadInfo"), record(0, "qC"), record(0, "qThreadExtraInfo," + sensor),
               record(0, "T" + sensor), record(0, "qXfer:threads:read::0,fff"), record(0, "g"),
               record(0, "Hg" + sensor), record(0, "g"), record(0, "qXfer:features:read:target.xml:0,fff"),
               record(0, hexcmd("rtos -m state")), record(0, hexcmd("rtos")), record(0, "k"), record(1, "W00")]
    write("proxy_dispatch", "session", b"".join(session))
    write("proxy_dispatch", "monitor", b"".join([record(0, hexcmd("rtos -t state")), record(0, hexcmd("rtos  state")),
                                                 record(0, hexcmd("reset halt")), record(0, "qRcmd,")]))
    write("proxy_dispatch", "raw", b"".join([record(0, b"+-\x03$qC#b4$Hc-1#00xyz+", True),
                                             record(1, b"$S05#b8$T05a:1;#00%Stop:T05#00", True),
                                             record(1, "X0"), record(0, "Hg0"), record(1, "S05"), record(0, "g")]))


def targetxml_seeds():
    folder = os.path.join(HERE, "..", "fixtures", "targetxml")
    for name in sorted(os.listdir(folder)):
        if name.endswith(".xml"):
            with open(os.path.join(folder, name), "rb") as f:
                write("target_description", name[:-4], f.read())


def main():
    build = sys.argv[1] if len(sys.argv) > 1 else "build"
    fixtures = os.path.join(build, "tests", "fixtures")
    freertos_seeds(fixtures)
    threadx_seeds(fixtures)
    dump_seeds(fixtures)
    text_seeds()
    targetxml_seeds()
    dispatch_seeds(fixtures)


if __name__ == "__main__":
    main()
