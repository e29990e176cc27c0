#include "rsp/RspUtil.h"
#include "base/NumberCodec.h"

#include "IdleAndTimer.h"
#include "target/ThreadList.h"

#include <cstdio>
#include <cstring>
#include <functional>

#include <gtest/gtest.h>

// ---- Primitives ----

TEST(RspUtilTest, EncodeRegisterValueIsLittleEndianDigits) {
    EXPECT_EQ("44332211", RspUtil::encodeRegisterValue(0x11223344));
    EXPECT_EQ("00000000", RspUtil::encodeRegisterValue(0));
    EXPECT_EQ("efbeadde", RspUtil::encodeRegisterValue(0xdeadbeef));
    EXPECT_EQ("0d0c0b0a", RspUtil::encodeRegisterValue(0x0a0b0c0d));
}

// ---- Messages built ----

TEST(RspUtilTest, BuildersTable) {
    struct Row {
        const char* form;
        std::function<std::string()> build;
        std::string expected;
    };
    const Row rows[] = {
        {"OK", [] { return RspUtil::createReply_OK(); }, "OK"},
        {"empty", [] { return RspUtil::createReply_Empty(); }, ""},
        {"E01", [] { return RspUtil::createReply_Error(1); }, "E01"},
        {"E17", [] { return RspUtil::createReply_Error(23); }, "E17"},
        {"qC", [] { return RspUtil::createReply_qC(0x20000a40); }, "QC20000a40"},
        {"qC fallback", [] { return RspUtil::createReply_qC(1); }, "QC1"},
        {"qSymbol", [] { return RspUtil::createReply_qSymbol("pxCurrentTCB"); },
         "qSymbol:707843757272656e74544342"},
        {"qRcmd no output", [] { return RspUtil::createReply_qRcmd(""); }, "OK"},
        {"qRcmd", [] { return RspUtil::createReply_qRcmd("Tasks"); }, "5461736b730a"},
        {"qXfer threads",
         [] { return RspUtil::createReply_qXferthreadsread("<threads></threads>", 0, 0xfff); },
         "l<threads></threads>"},
        {"qXfer first piece",
         [] { return RspUtil::createReply_qXferthreadsread("<threads></threads>", 0, 9); }, "m<threads>"},
        {"qXfer middle", [] { return RspUtil::createReply_qXferthreadsread("<threads></threads>", 9, 4); },
         "m</th"},
        {"qXfer rest", [] { return RspUtil::createReply_qXferthreadsread("<threads></threads>", 9, 100); },
         "l</threads>"},
        {"qXfer exactly to the end",
         [] { return RspUtil::createReply_qXferthreadsread("<threads></threads>", 9, 10); }, "l</threads>"},
        {"qXfer at the end",
         [] { return RspUtil::createReply_qXferthreadsread("<threads></threads>", 19, 100); }, "l"},
        {"qXfer past the end",
         [] { return RspUtil::createReply_qXferthreadsread("<threads></threads>", 0x400, 1); }, "l"},
        {"qXfer piece escaped", [] { return RspUtil::createReply_qXferthreadsread("a#b$c", 1, 3); },
         std::string("m}\x03"
                     "b}\x04")},
        {"qfThreadInfo none", [] { return RspUtil::createReply_qfThreadInfo({}); }, "l"},
        {"qfThreadInfo",
         [] {
             return RspUtil::createReply_qfThreadInfo({1, 0x2a});
         },
         "m1,2a"},
        {"qfThreadInfo one", [] { return RspUtil::createReply_qfThreadInfo({0x20000810}); }, "m20000810"},
        {"qThreadExtraInfo active",
         [] { return RspUtil::createReply_qThreadExtraInfo("IDLE", true); },
         "49444c452052554e4e494e47"},
        {"qThreadExtraInfo switched out",
         [] { return RspUtil::createReply_qThreadExtraInfo("Tmr Svc", false); },
         "546d7220537663"},
        {"qThreadExtraInfo id as name",
         [] { return RspUtil::createReply_qThreadExtraInfo("2000a1b8", false); },
         "3230303061316238"},
        {"qThreadExtraInfo id running",
         [] { return RspUtil::createReply_qThreadExtraInfo("1", true); },
         "312052554e4e494e47"},
        {"m text", [] { return RspUtil::createCommand_m("20000104", 4); }, "m20000104,4"},
        {"m text as it stands", [] { return RspUtil::createCommand_m("0x10", 2); }, "m0x10,2"},
        {"m number", [] { return RspUtil::createCommand_m(0x20000104u, 0x100); }, "m20000104,100"},
        {"M word", [] { return RspUtil::createCommand_M(0x20000714u, "5a5a5a5a"); }, "M20000714,4:5a5a5a5a"},
        {"M double", [] { return RspUtil::createCommand_M(0x40u, "0011223344556677"); },
         "M40,8:0011223344556677"},
        {"m zero", [] { return RspUtil::createCommand_m(0u, 20); }, "m0,14"},
        {"features annex",
         [] { return RspUtil::createCommand_qXferfeaturesread("arm-vfp.xml", 0x3f0, 0x400); },
         "qXfer:features:read:arm-vfp.xml:3f0,400"},
        {"stop", [] { return RspUtil::createCommand_stopReply(0x2000a1b8, 5); }, "T05thread:2000a1b8;"},
        {"S as T", [] { return RspUtil::createCommand_stopReply("S05", 0x20000a40); }, "T05thread:20000a40;"},
        {"T thread in place",
         [] {
             return RspUtil::createCommand_stopReply("T0Bwatch:20000100;thread:p01.01;0d:00010020;core:0;",
                                                     0x2a);
         },
         "T0Bwatch:20000100;thread:2a;0d:00010020;core:0;"},
        {"T without thread", [] { return RspUtil::createCommand_stopReply("T05swbreak:;", 1); },
         "T05thread:1;swbreak:;"},
        {"T last field open", [] { return RspUtil::createCommand_stopReply("T05hwbreak:;core:1", 1); },
         "T05thread:1;hwbreak:;core:1"},
        {"T two threads", [] { return RspUtil::createCommand_stopReply("T05thread:1;thread:2;", 3); },
         "T05thread:3;"},
        {"stop wide signal", [] { return RspUtil::createCommand_stopReply(1, 0x123); }, "T123thread:1;"},
        {"stop notification", [] { return RspUtil::createNotification_stopReply(0x20000a40, 2); },
         "Stop:T02thread:20000a40;"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.form);
        EXPECT_EQ(row.expected, row.build());
    }
}

// ---- Commands and replies parsed ----

TEST(RspUtilTest, ExactPayloadsTable) {
    using Parser = bool (*)(const std::string&);
    struct Row {
        Parser parse;
        const char* input;
        bool accepted;
    };
    const Row rows[] = {
        {RspUtil::parseCommand_qC, "qC", true},
        {RspUtil::parseCommand_qC, "qCRC:8000000,100", false},
        {RspUtil::parseCommand_qC, "qc", false},
        {RspUtil::parseCommand_qC, "", false},
        {RspUtil::parseCommand_k, "k", true},
        {RspUtil::parseCommand_k, "kk", false},
        {RspUtil::parseCommand_qSymbol, "qSymbol::", true},
        {RspUtil::parseCommand_qSymbol, "qSymbol::706f", false},
        {RspUtil::parseCommand_qSymbol, "qSymbol:", false},
        {RspUtil::parseCommand_qfThreadInfo, "qfThreadInfo", true},
        {RspUtil::parseCommand_qfThreadInfo, "qsThreadInfo", false},
        {RspUtil::parseCommand_qsThreadInfo, "qsThreadInfo", true},
        {RspUtil::parseCommand_qsThreadInfo, "qsThreadInfo,", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        EXPECT_EQ(row.accepted, row.parse(row.input));
    }
}

TEST(RspUtilTest, ThreadIdCommandsTable) {
    using Parser = bool (*)(const std::string&, unsigned int&);
    struct Row {
        Parser parse;
        const char* input;
        bool accepted;
        unsigned int thread;
    };
    const unsigned int untouched = 0xeeeeeeee;
    const Row rows[] = {
        {RspUtil::parseCommand_T, "T20000a40", true, 0x20000a40},
        {RspUtil::parseCommand_T, "T1", true, 1},
        {RspUtil::parseCommand_T, "T", false, untouched},
        {RspUtil::parseCommand_T, "t1", false, untouched},
        {RspUtil::parseCommand_T, "T1.2", false, untouched},
        {RspUtil::parseCommand_p, "p5", true, 5},
        {RspUtil::parseCommand_p, "p1a", true, 0x1a},
        {RspUtil::parseCommand_p, "p", false, untouched},
        {RspUtil::parseCommand_p, "P5", false, untouched},
        {RspUtil::parseCommand_p, "p5=1", false, untouched},
        {RspUtil::parseCommand_qThreadExtraInfo, "qThreadExtraInfo,20000a40", true, 0x20000a40},
        {RspUtil::parseCommand_qThreadExtraInfo, "qThreadExtraInfo,1,2", false, untouched},
        {RspUtil::parseCommand_qThreadExtraInfo, "qThreadExtraInfo", false, untouched},
        {RspUtil::parseCommand_qThreadExtraInfo, "qThreadExtraInfoX,1", false, untouched},
        {RspUtil::parseCommand_qThreadExtraInfo, "qThreadExtraInfo,1.1", false, untouched},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        unsigned int thread = untouched;
        EXPECT_EQ(row.accepted, row.parse(row.input, thread));
        EXPECT_EQ(row.thread, thread);
    }
}

TEST(RspUtilTest, RegisterWriteCommandsTable) {
    struct Row {
        const char* input;
        bool accepted;
        unsigned int number;
        const char* valueHex;
    };
    const Row rows[] = {
        {"P5=5a5a5a5a", true, 5, "5a5a5a5a"},    {"P1a=0011223344556677", true, 0x1a, "0011223344556677"},
        {"P5=5A5A5A5A", true, 5, "5A5A5A5A"},    {"P=5a5a5a5a", false, 0xeeeeeeee, "-"},
        {"P5=", false, 0xeeeeeeee, "-"},         {"P5=5a5", false, 0xeeeeeeee, "-"},
        {"P5=xxxxxxxx", false, 0xeeeeeeee, "-"}, {"P5", false, 0xeeeeeeee, "-"},
        {"Pz=00000000", false, 0xeeeeeeee, "-"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        unsigned int number = 0xeeeeeeee;
        std::string valueHex = "-";
        EXPECT_EQ(row.accepted, RspUtil::parseCommand_P(row.input, number, valueHex));
        EXPECT_EQ(row.number, number);
        EXPECT_EQ(row.valueHex, valueHex);
    }
    std::string registers = "-";
    EXPECT_TRUE(RspUtil::parseCommand_G("G0011aabb", registers));
    EXPECT_EQ("0011aabb", registers);
    for (const std::string refused : {"G", "G001", "G00zz", "g0011"}) {
        SCOPED_TRACE(refused);
        registers = "-";
        EXPECT_FALSE(RspUtil::parseCommand_G(refused, registers));
        EXPECT_EQ("-", registers);
    }
}

TEST(RspUtilTest, HCommandTable) {
    struct Row {
        const char* input;
        bool accepted;
        std::string operation;
        unsigned int thread;
    };
    const Row rows[] = {
        {"Hg0", true, "g", 0},         {"Hc-1", true, "c", 0xFFFFFFFF}, {"Hg20000810", true, "g", 0x20000810},
        {"H", false, "?", 0xeeee},     {"Hg", false, "?", 0xeeee},      {"Xg0", false, "?", 0xeeee},
        {"Hg1.2", false, "?", 0xeeee},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        std::string operation = "?";
        unsigned int thread = 0xeeee;
        EXPECT_EQ(row.accepted, RspUtil::parseCommand_H(row.input, operation, thread));
        EXPECT_EQ(row.operation, operation);
        EXPECT_EQ(row.thread, thread);
    }
}

TEST(RspUtilTest, QXferRequestsTable) {
    using Parser = bool (*)(const std::string&, unsigned int&, unsigned int&);
    struct Row {
        Parser parse;
        const char* input;
        bool accepted;
        unsigned int offset;
        unsigned int length;
    };
    const Parser threads = RspUtil::parseCommand_qXferthreadsread;
    const Parser features = RspUtil::parseCommand_qXferfeaturesreadtarget_xml;
    const Row rows[] = {
        {threads, "qXfer:threads:read::0,fff", true, 0, 0xfff},
        {threads, "qXfer:threads:read::0,1", true, 0, 1},
        {threads, "qXfer:threads:read::0,", false, 9, 9},
        {threads, "qXfer:threads:read::1,2,3", false, 9, 9},
        {threads, "qXfer:threads:read:x:0,fff", false, 9, 9},
        {threads, "qXfer:threads:read::0;fff", false, 9, 9},
        {features, "qXfer:features:read:target.xml:0,3ff", true, 0, 0x3ff},
        {features, "qXfer:features:read:target.xml:3ff,3ff", true, 0x3ff, 0x3ff},
        {features, "qXfer:features:read:target.xml:0,", false, 9, 9},
        {features, "qXfer:features:read:arm-m-profile.xml:0,ffb", false, 9, 9},
        {features, "qXfer:threads:read::0,fff", false, 9, 9},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        unsigned int offset = 9;
        unsigned int length = 9;
        EXPECT_EQ(row.accepted, row.parse(row.input, offset, length));
        EXPECT_EQ(row.offset, offset);
        EXPECT_EQ(row.length, length);
    }
}

TEST(RspUtilTest, QRcmdTable) {
    struct Row {
        std::string input;
        bool accepted;
        std::vector<std::string> arguments;
    };
    const Row rows[] = {
        {"qRcmd,612062", true, {"a", "b"}},
        {"qRcmd,", false, {}},
        {"qRcmd,72746f73", true, {"rtos"}},
        {"qRcmd,72746f7320202d74", true, {"rtos", "", "-t"}},
        // The dispatcher has matched the prefix; only its length counts here.
        {"xxxxx,72746f73", true, {"rtos"}},
        {"qRcmd,727", true, {"r"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        std::vector<std::string> arguments;
        EXPECT_EQ(row.accepted, RspUtil::parseCommand_qRcmd(row.input, arguments));
        EXPECT_EQ(row.arguments, arguments);
    }
}

TEST(RspUtilTest, QRcmdAppendsToWhatArgumentsHeld) {
    std::vector<std::string> arguments = {"before"};
    EXPECT_TRUE(RspUtil::parseCommand_qRcmd("qRcmd,612062", arguments));
    EXPECT_EQ(std::vector<std::string>({"before", "a", "b"}), arguments);
}

TEST(RspUtilTest, StopRepliesTable) {
    struct Row {
        const char* input;
        bool accepted;
        std::string kind;
        unsigned int signal;
    };
    const Row rows[] = {
        {"T05", true, "T", 5},
        {"T05ab", false, "?", 0xee},
        {"T05a:1;", false, "?", 0xee},
        {"T05thread:", false, "?", 0xee},
        {"T05thread:1", true, "T", 5},
        {"T05thread:1;core:0;", true, "T", 5},
        {"T0g", false, "?", 0xee},
        {"S05", true, "S", 5},
        {"S5", false, "?", 0xee},
        {"S050", false, "?", 0xee},
        {"W00", true, "W", 0},
        {"W00;process:1", true, "W", 0},
        {"W00;process:1a", true, "W", 0},
        // W and X name their kind before the size is judged.
        {"W00;process:", false, "W", 0xee},
        {"W00;processX1a", false, "W", 0xee},
        {"W0g", false, "W", 0xee},
        {"X09", true, "X", 9},
        {"X0f;process:1a", true, "X", 0xf},
        {"X0", false, "?", 0xee},
        {"O05", false, "?", 0xee},
        {"", false, "?", 0xee},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        std::string kind = "?";
        unsigned int signal = 0xee;
        EXPECT_EQ(row.accepted, RspUtil::parseCommand_stopReply(row.input, kind, signal));
        EXPECT_EQ(row.kind, kind);
        EXPECT_EQ(row.signal, signal);
    }
}

TEST(RspUtilTest, QSymbolRepliesTable) {
    struct Row {
        const char* input;
        bool accepted;
        std::string value;
        std::string name;
    };
    const Row rows[] = {
        {"qSymbol::706f", true, "", "po"},
        {"qSymbol:20000104:7078", true, "20000104", "px"},
        {"qSymbol::706", true, "", "p"},
        {"qSymbol:12:", false, "?", "?"},
        {"qSymbol:1:2:3", false, "?", "?"},
        {"qsymbol::706f", false, "?", "?"},
        {"qSymbol:706f", false, "?", "?"},
        // An acknowledgement byte where a reply was due.
        {"+", false, "?", "?"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        std::string value = "?";
        std::string name = "?";
        EXPECT_EQ(row.accepted, RspUtil::parseReply_qSymbol(row.input, value, name));
        EXPECT_EQ(row.value, value);
        EXPECT_EQ(row.name, name);
    }
}

TEST(RspUtilTest, QXferChunksTable) {
    struct Row {
        const char* input;
        bool accepted;
        std::string data;
        bool last;
    };
    // data starts as "<t>" and last as false unless the row says otherwise.
    const Row rows[] = {
        {"l</t>", true, "<t></t>", true}, {"m<a/>", true, "<t><a/>", false}, {"l", true, "<t>", true},
        {"E01", false, "<t>", false},     {"", false, "<t>", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        std::string data = "<t>";
        bool last = false;
        EXPECT_EQ(row.accepted, RspUtil::parseReply_qXferobjectreadannex(row.input, data, last));
        EXPECT_EQ(row.data, data);
        EXPECT_EQ(row.last, last);
    }
    std::string data;
    bool last = true;
    EXPECT_TRUE(RspUtil::parseReply_qXferobjectreadannex("mabc", data, last));
    EXPECT_FALSE(last);
}

TEST(RspUtilTest, MemoryRepliesTable) {
    struct Row {
        const char* input;
        bool accepted;
        std::vector<unsigned char> data;
    };
    const Row rows[] = {
        {"0a0b0c0d", true, {0x0a, 0x0b, 0x0c, 0x0d}},
        {"01000000", true, {0x01, 0x00, 0x00, 0x00}},
        {"", true, {}},
        // An error of odd size fails; one of even size reads as a byte.
        {"E14", false, {}},
        {"E1", true, {0xe1}},
        {"zz", true, {0x00}},
        {"41zz", true, {0x41, 0x41}},
        {"0", false, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.input);
        std::vector<unsigned char> data = {1, 2, 3};
        EXPECT_EQ(row.accepted, RspUtil::parseReply_m(row.input, data));
        EXPECT_EQ(row.data, data);
    }
}

// The byte of every pair is what "%2x" makes of it, and where the scan finds no number the byte of the
// pair before stands (here 0x5a).
TEST(RspUtilTest, ParseReplyMReadsEveryPairAsSscanfDoes) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const char pair[3] = {static_cast<char>(first), static_cast<char>(second), '\0'};
            unsigned int expected = 0x5a;
            std::sscanf(pair, "%2x", &expected);
            std::vector<unsigned char> data;
            ASSERT_TRUE(RspUtil::parseReply_m("5a" + std::string(pair, 2), data));
            ASSERT_EQ(2u, data.size());
            ASSERT_EQ(static_cast<unsigned char>(expected & 0xff), data[1])
                << "pair " << first << "," << second;
        }
    }
}

TEST(RspUtilTest, ParsersSurviveHostileInput) {
    const std::string inputs[] = {std::string("T\0\0\0\0\0\0\0\0\0\0\0", 12),
                                  std::string(5000, 'f'),
                                  std::string(4999, 'z'),
                                  "qSymbol::::",
                                  ",,,,",
                                  std::string("\xff\xfe", 2)};
    // Some of these make toUINT32 print its failure line; that is expected and kept off the test log.
    testing::internal::CaptureStdout();
    for (const std::string& input : inputs) {
        std::string text;
        unsigned int a = 0;
        unsigned int b = 0;
        bool flag = false;
        std::vector<unsigned char> bytes;
        std::vector<std::string> words;
        RspUtil::parseCommand_stopReply(input, text, a);
        RspUtil::parseCommand_H(input, text, a);
        RspUtil::parseCommand_qXferthreadsread(input, a, b);
        RspUtil::parseReply_qSymbol(input, text, text);
        RspUtil::parseReply_qXferobjectreadannex(input, text, flag);
        RspUtil::parseCommand_qRcmd(input, words);
        EXPECT_EQ(input.size() % 2 == 0, RspUtil::parseReply_m(input, bytes));
        EXPECT_EQ(input.size() % 2 == 0 ? input.size() / 2 : 0u, bytes.size());
    }
    testing::internal::GetCapturedStdout();
}

// ---- Both directions ----

TEST(RspUtilTest, StopRepliesParseBack) {
    for (unsigned int signal : {0u, 2u, 5u, 0x11u, 0xffu}) {
        SCOPED_TRACE(signal);
        std::string kind;
        unsigned int parsed = 0xeeee;
        ASSERT_TRUE(RspUtil::parseCommand_stopReply(RspUtil::createCommand_stopReply(0x20000a40, signal),
                                                    kind, parsed));
        EXPECT_EQ("T", kind);
        EXPECT_EQ(signal, parsed);
        std::string notification = RspUtil::createNotification_stopReply(1, signal);
        ASSERT_EQ(0u, notification.rfind("Stop:", 0));
        ASSERT_TRUE(RspUtil::parseCommand_stopReply(notification.substr(5), kind, parsed));
        EXPECT_EQ(signal, parsed);
    }
}

TEST(RspUtilTest, ThreadDocumentParsesBackAsTheLastChunk) {
    const ThreadList list = idleAndTimer();
    std::string xml;
    bool last = false;
    ASSERT_TRUE(RspUtil::parseReply_qXferobjectreadannex(
        RspUtil::createReply_qXferthreadsread(list.getXML(), 0, 0xfff), xml, last));
    EXPECT_TRUE(last);
    EXPECT_EQ(list.getXML(), xml);
}

TEST(RspUtilTest, MonitorTextsParseBack) {
    std::vector<std::string> words;
    ASSERT_TRUE(RspUtil::parseCommand_qRcmd("qRcmd," + NumberCodec::encodeHex("rtos -m state"), words));
    EXPECT_EQ(std::vector<std::string>({"rtos", "-m", "state"}), words);
    std::string reply = RspUtil::createReply_qRcmd("Tasks");
    EXPECT_EQ("Tasks\n", NumberCodec::decodeHex(reply, static_cast<unsigned int>(reply.size())));
}

TEST(RspUtilTest, SymbolNameParsesBackFromGdbsAnswer) {
    const std::string request = RspUtil::createReply_qSymbol("uxCurrentNumberOfTasks");
    ASSERT_EQ(0u, request.rfind("qSymbol:", 0));
    std::string value;
    std::string name;
    ASSERT_TRUE(RspUtil::parseReply_qSymbol("qSymbol:20000104:" + request.substr(8), value, name));
    EXPECT_EQ("20000104", value);
    EXPECT_EQ("uxCurrentNumberOfTasks", name);
}

TEST(RspUtilTest, ThreadExtraInfoDecodesToNameAndState) {
    std::string active = RspUtil::createReply_qThreadExtraInfo("IDLE", true);
    EXPECT_EQ("IDLE RUNNING", NumberCodec::decodeHex(active, static_cast<unsigned int>(active.size())));
    std::string nameless = RspUtil::createReply_qThreadExtraInfo("2000a1b8", false);
    EXPECT_EQ("2000a1b8", NumberCodec::decodeHex(nameless, static_cast<unsigned int>(nameless.size())));
}

TEST(RspUtilTest, BinaryDataEscapesTheFrameBytes) {
    EXPECT_EQ("plain text", RspUtil::escapeBinary("plain text"));
    EXPECT_EQ(std::string("}\x03}\x04}]}\x0a"), RspUtil::escapeBinary("#$}*"));
    EXPECT_EQ(std::string("la}\x03"
                          "b"),
              RspUtil::createReply_qXferthreadsread("a#b", 0, 3));
    EXPECT_EQ("", RspUtil::escapeBinary(""));
}
