#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "proxy/Tarnwick.h"

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

namespace {

const char* const kVersionNumber = "0.17.0";
const char* const kVersionSuffix = "";

// "--loglevel" when it is absent or not a number: all but the debug lines.
const unsigned int kDefaultLogLevel = 7;

const char* const kHelpLines[] = {
    "Usage:",
    "Tarnwick [options]",
    "",
    "Where [options]:",
    "-v, --version: Displays version information and exits.",
    "-h, --help: Displays usage information and exits.",
    "-f <options file>: Path to file containing options.",
    "--rtos: RTOS driver to use.",
    "--rtos_variant: RTOS port layer used by the executable.",
    "--port: TCP/IP port number for GDB connections.",
    "--server_connection: <Host:Port> Host and port number of the RSP-server (GDB-server) to connect to.",
    "--file: Path to the RTOS executable (ELF object).",
    "--gdbserver_connect_timeout: RSP-server (GDB-server) connection timeout. Default is 15s.",
    "--loglevel: Logging level. Value between 0-15.",
    "--persist: true keeps serving one GDB connection after another, until Ctrl-C. Default is false.",
    "--read_cache: false reads every value from the RSP-server each time it is used. Default is true.",
    "--lazy_walk: false walks the RTOS threads at every stop. Default is true.",
    "",
    // One line, written in two pieces.
    ("Note. Various RTOS drivers might provide additional properties for customization. Please consult "
     "respective RTOS driver documentation for details. "),
};

std::string getVersion() {
    return std::string(kVersionNumber) + kVersionSuffix;
}

void displayHeader() {
    std::printf("Veltrona Tarnwick. Version %s\n", getVersion().c_str());
    std::printf("Copyright (c) Veltrona. All rights reserved.\n");
    std::printf("\n");
    std::fflush(stdout);
}

void displayHelp() {
    for (const char* line : kHelpLines) {
        std::printf("%s\n", line);
    }
    std::fflush(stdout);
}

// A second signal of the same kind then ends the process at once.
void signalHandler(int signalNumber) {
    std::signal(signalNumber, SIG_DFL);
    Tarnwick::getInstance().stop();
}

// The lone dashed argument: the version is in the banner already, anything else gets the help.
void answerSingleOption(const std::string& argument) {
    if (argument == "--version" || argument == "-v") {
        return;
    }
    if (argument != "--help" && argument != "-h") {
        std::printf("Unsupported argument: %s\n", argument.c_str());
    }
    displayHelp();
}

} // namespace

int main(int argc, char** argv) {
    // 1. The banner comes first, whatever follows.
    displayHeader();
    std::vector<std::string> args(argv + 1, argv + argc);
    bool result = true;

    // 2. A lone dashed argument is answered here.
    if (args.size() == 1 && args[0].compare(0, 1, "-") == 0) {
        answerSingleOption(args[0]);
        return 0;
    }

    // 3. The options file and the command line are alternatives; they are never merged.
    Properties& properties = Properties::getInstance();
    bool fromFile = args.size() == 2 && args[0] == "-f";
    result = fromFile ? properties.init(args[1]) : properties.init(args);

    // 4.
    Logger& logger = Logger::getInstance();
    logger.init(kDefaultLogLevel);
    unsigned int level = kDefaultLogLevel;
    if (!properties.getProperty("--loglevel", level)) {
        level = kDefaultLogLevel;
    }
    logger.init(level);
    if (!result && fromFile) {
        logger.log(Logger::LOG_ERROR, "main", "PropertiesManager::init(), failed open file: %s\n", args[1].c_str());
    }

    // 5. The debug-info cache must exist before a driver can be detected over it.
    if (result && !SymbolTable::getInstance().init()) {
        result = false;
    }

    // 6.
    if (result) {
        Tarnwick& tarnwick = Tarnwick::getInstance();
        if (!tarnwick.init()) {
            logger.log(Logger::LOG_ERROR, "main", "Failed to initialize proxy.\n");
            result = false;
        } else {
            // Only now: before this point the signals keep their default effect.
            std::signal(SIGINT, signalHandler);
            std::signal(SIGTERM, signalHandler);
            result = tarnwick.run();
        }
    }

    // 7.
    logger.log(Logger::LOG_INFO, "main", result ? "Proxy stopped.\n" : "Proxy stopped with errors.\n");

    // 8. -1 is 255 to the shell.
    return result ? 0 : -1;
}
