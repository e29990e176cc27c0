#include "base/Properties.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace {

class PropertiesTest : public ::testing::Test {
protected:
    void SetUp() override { properties().clear(); }
    void TearDown() override { properties().clear(); }
    static Properties& properties() { return Properties::getInstance(); }
    static void load(std::vector<std::string> args) { ASSERT_TRUE(properties().init(args)); }
    static std::string text(const std::string& key) {
        std::string value = "<unset>";
        properties().getProperty(key, value);
        return value;
    }
};

TEST_F(PropertiesTest, AValueWithoutAKeyIsDropped) {
    load({"abc"});
    EXPECT_EQ("<unset>", text("abc"));
    EXPECT_TRUE(properties().getServerArgs().empty());
}

TEST_F(PropertiesTest, AnAliasSetsItsOption) {
    load({"PROXY_PORT=2000"});
    unsigned short port = 0;
    EXPECT_TRUE(properties().getPort("--port", port));
    EXPECT_EQ(2000, port);
}

TEST_F(PropertiesTest, TheLastMentionWins) {
    load({"--port", "1", "--port", "2"});
    EXPECT_EQ("2", text("--port"));
}

TEST_F(PropertiesTest, HostAndPortAliasesMakeTheConnectionInEitherOrder) {
    load({"PROXY_RSPSERVER_PORT=3333", "PROXY_RSPSERVER_HOST=10.0.0.1"});
    EXPECT_EQ("10.0.0.1:3333", text("--server_connection"));
    properties().clear();
    load({"PROXY_RSPSERVER_HOST=10.0.0.1", "PROXY_RSPSERVER_PORT=3333"});
    EXPECT_EQ("10.0.0.1:3333", text("--server_connection"));
}

TEST_F(PropertiesTest, TheAliasedConnectionOverridesADirectOne) {
    load({"PROXY_RSPSERVER_PORT=3333", "--server_connection", "1.2.3.4:5"});
    EXPECT_EQ(":3333", text("--server_connection"));
}

TEST_F(PropertiesTest, ArgumentsBeforeTheDoubleDashAreTheServers) {
    load({"a", "b", "--", "--port", "9"});
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), properties().getServerArgs());
    EXPECT_EQ("9", text("--port"));
}

TEST_F(PropertiesTest, ServerArgsTakesTheNextTokenWhateverItIs) {
    load({"--server_args", "-x"});
    EXPECT_EQ("-x", text("--server_args"));
    EXPECT_TRUE(properties().getServerArgs().empty());
    properties().clear();
    load({"--server_args", "-x -y"});
    EXPECT_EQ((std::vector<std::string>{"-x", "-y"}), properties().getServerArgs());
}

TEST_F(PropertiesTest, APortIsADecimalNumberFromOneTo65535) {
    struct Row {
        const char* text;
        bool valid;
        unsigned short port;
    };
    const Row rows[] = {{"1", true, 1},         {"3333", true, 3333},
                        {"65535", true, 65535}, {"03333", true, 3333},
                        {"0", false, 7},        {"65536", false, 7},
                        {"70000", false, 7},    {"4294967297", false, 7},
                        {"", false, 7},         {"12x", false, 7},
                        {"-1", false, 7},       {"+3", false, 7},
                        {" 3", false, 7},       {"99999999999999999999", false, 7}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        unsigned short port = 7;
        EXPECT_EQ(row.valid, Properties::parsePort(row.text, port));
        EXPECT_EQ(row.port, port);
    }
}

TEST_F(PropertiesTest, GetPortLeavesTheDefaultWhenUnsetAndRefusesWhatIsNoPort) {
    unsigned short port = 60000;
    EXPECT_TRUE(properties().getPort("--port", port));
    EXPECT_EQ(60000, port);
    load({"--port", "65536"});
    EXPECT_FALSE(properties().getPort("--port", port));
    EXPECT_EQ(60000, port);
    load({"--port", "2000"});
    EXPECT_TRUE(properties().getPort("--port", port));
    EXPECT_EQ(2000, port);
}

TEST_F(PropertiesTest, HostAndPortTable) {
    struct Row {
        const char* text;
        bool valid;
        const char* host;
        unsigned short port;
    };
    const Row rows[] = {
        {"localhost:3333", true, "localhost", 3333},
        {"10.0.0.1:3333", true, "10.0.0.1", 3333},
        {":3333", true, "", 3333},
        {"[::1]:3333", true, "::1", 3333},
        {"[fe80::1%eth0]:1", true, "fe80::1%eth0", 1},
        {"probe.example.com:65535", true, "probe.example.com", 65535},
        {"::1:3333", false, "-", 0},
        {"[::1]3333", false, "-", 0},
        {"[::1:3333", false, "-", 0},
        {"localhost", false, "-", 0},
        {"localhost:", false, "-", 0},
        {"localhost:0", false, "-", 0},
        {"localhost:65536", false, "-", 0},
        {"localhost:3333abc", false, "-", 0},
        {"10.0.0.1:1:2", false, "-", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        std::string host = "-";
        unsigned short port = 0;
        EXPECT_EQ(row.valid, Properties::parseHostPort(row.text, host, port));
        EXPECT_EQ(row.host, host);
        EXPECT_EQ(row.port, port);
    }
}

TEST_F(PropertiesTest, ADashedValueIsAKey) {
    load({"--loglevel", "-1", "--bypass"});
    EXPECT_EQ("", text("--loglevel"));
    EXPECT_EQ("", text("-1"));
    EXPECT_EQ("<unset>", text("--bypass")) << "the last key has no value and is lost";
}

TEST_F(PropertiesTest, BooleansAreTrueOnlyForTrue) {
    load({"--bypass", "true", "--opt_task_sel", "TRUE"});
    bool value = false;
    EXPECT_TRUE(properties().getProperty("--bypass", value));
    EXPECT_TRUE(value);
    EXPECT_TRUE(properties().getProperty("--opt_task_sel", value));
    EXPECT_FALSE(value);
    EXPECT_FALSE(properties().getProperty("--absent", value));
}

TEST_F(PropertiesTest, UnknownAliasesAndDashedAssignmentsAreDropped) {
    load({"--port=2000", "SOMETHING=1", "PROXY_ELF_OBJECT=a=b"});
    EXPECT_EQ("<unset>", text("--port"));
    EXPECT_EQ("<unset>", text("--file"));
}

TEST_F(PropertiesTest, OptionsFileLinesAreArguments) {
    char pattern[] = "/tmp/tarnwick-properties-XXXXXX";
    int descriptor = mkstemp(pattern);
    std::string path = pattern;
    std::ofstream(path, std::ios::binary)
        << "# comment\n\n  --rtos \n\tFreeRTOS\t\n"
           "--file\n/tmp/app.elf\r\n--port 2000\nPROXY_RTOS_PORT = ARM_CM4F\n";
    close(descriptor);
    EXPECT_TRUE(properties().init(path));
    std::remove(path.c_str());
    EXPECT_EQ("FreeRTOS", text("--rtos"));
    EXPECT_EQ("/tmp/app.elf\r", text("--file"));
    EXPECT_EQ("<unset>", text("--port"));
    EXPECT_EQ("ARM_CM4F", text("--rtos_variant"));
}

TEST_F(PropertiesTest, AMissingOptionsFileFailsWithoutOutput) {
    std::string path = "/nonexistent/options";
    testing::internal::CaptureStdout();
    EXPECT_FALSE(properties().init(path));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

} // namespace
