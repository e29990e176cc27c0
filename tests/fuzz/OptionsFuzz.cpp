// The options: one argument a line through Properties::init(vector), the same bytes as an options file
// through Properties::init(path), and then every reader of an option as the program has them.
#include "FuzzCheck.h"
#include "base/Logger.h"
#include "base/Properties.h"
#include "proxy/RspProxy.h"
#include "rtos/IRtosPortDriver.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/freertos/FreeRtosPortFactory.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"
#include "rtos/threadx/ThreadxPortFactory.h"

#include <cstdio>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

// The proxy's own reading of its options, without a kernel driver.
class OptionsProxy : public RspProxy {
public:
    bool interceptPacket(RspClient& /*from*/, RspClient& /*to*/, bool& handled) override {
        handled = false;
        return true;
    }
};

const char* const kOptions[] = {
    "--loglevel",     "--port",   "--server_connection", "--gdbserver_connect_timeout",
    "--bypass",       "--server", "--server_args",       "--rtos",
    "--rtos_variant", "--file",   "--debug_info_cache",  "--debug_info_tool",
    "--opt_task_sel", "-f"};

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> args;
    std::string::size_type start = 0;
    while (start <= text.size()) {
        std::string::size_type end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        args.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return args;
}

void readEveryOption() {
    Properties& properties = Properties::getInstance();
    for (const char* option : kOptions) {
        std::string text;
        unsigned int number = 0;
        unsigned short port = 0;
        bool flag = false;
        properties.getProperty(option, text);
        properties.getProperty(option, number);
        if (properties.getPort(option, port) && properties.getProperty(option, text)) {
            fuzzRequire(port >= 1, "a port read is never 0");
        }
        std::string host;
        if (Properties::parseHostPort(text, host, port)) {
            fuzzRequire(port >= 1 && text.size() > host.size(), "a host and port read have a port");
        }
        properties.getProperty(option, flag);
    }
    Logger::getInstance().setLogLevel(15);
    OptionsProxy proxy;
    proxy.init();
    fuzzRequire(!proxy.getServerHost().empty(), "a server host always stands");
    fuzzRequire(proxy.getListenPort() != 0, "GDB is never awaited on a port the kernel picks");
    RtosDriverInfo row;
    FreeRtosRtosDriver freertos(row);
    std::string variant;
    if (properties.getProperty("--rtos_variant", variant)) {
        std::unique_ptr<IRtosPortDriver> freertosPort(FreeRtosPortFactory::create(variant));
        std::unique_ptr<IRtosPortDriver> threadxPort(ThreadxPortFactory::create(variant));
    }
}

int optionsFile = -1;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // The log and toUINT32's reports go to standard output, the fuzzer's report to standard error.
    std::freopen("/dev/null", "w", stdout);
    optionsFile = memfd_create("tarnwick_options", 0);
    fuzzRequire(optionsFile >= 0, "an in-memory options file");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    Properties& properties = Properties::getInstance();

    properties.clear();
    std::vector<std::string> args = lines(text);
    properties.init(args);
    readEveryOption();

    properties.clear();
    fuzzRequire(ftruncate(optionsFile, 0) == 0 &&
                    pwrite(optionsFile, data, size, 0) == static_cast<ssize_t>(size),
                "the options file takes the input");
    std::string path = "/proc/self/fd/" + std::to_string(optionsFile);
    fuzzRequire(properties.init(path), "the options file opens");
    readEveryOption();
    return 0;
}
