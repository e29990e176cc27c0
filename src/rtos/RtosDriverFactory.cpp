#include "rtos/RtosDriverFactory.h"

#include "base/Logger.h"
#include "base/OsUtil.h"
#include "base/StringUtil.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/threadx/ThreadxRtosDriver.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"

#include <fstream>

namespace {

const char* const kDatabaseName = "drivers/drivers.csv";
const std::string kFreeRtosId = "freertos";
const std::string kThreadxId = "threadx";

constexpr std::size_t kRowFields = 4;

void logOpenFailure() {
    Logger::getInstance().log(Logger::LOG_ERROR, "init", "Failure open driver database: %s\n", kDatabaseName);
}

} // namespace

bool RtosDriverFactory::init() {
    std::string directory;
    if (!OsUtil::executableDir(directory)) {
        logOpenFailure();
        return false;
    }
    return readDatabase(directory + "/" + kDatabaseName);
}

bool RtosDriverFactory::readDatabase(const std::string& path) {
    std::ifstream file(path);
    if (!file.is_open()) {
        logOpenFailure();
        return false;
    }
    std::string line;
    while (std::getline(file, line)) {
        // Only blanks are trimmed: a carriage return or a tab stays part of the text.
        line = StringUtil::trim(line, " ");
        if (line.empty() || line[0] == '#') {
            continue;
        }
        // A line without a comma splits into no fields at all.
        std::vector<std::string> fields = StringUtil::split(line, ',');
        if (fields.size() < kRowFields) {
            Logger::getInstance().log(Logger::LOG_ERROR, "init", "Corrupt driver database: %s\n",
                                      kDatabaseName);
            return false;
        }
        RtosDriverInfo row;
        row.setName(StringUtil::trim(fields[0], " "));
        row.setId(StringUtil::trim(fields[1], " "));
        row.setLibraryPath(StringUtil::trim(fields[2], " "));
        row.setMatchSymbol(StringUtil::trim(fields[3], " "));
        drivers.push_back(row);
    }
    return true;
}

IRtosDriver* RtosDriverFactory::create(const std::string& driverId) {
    for (const RtosDriverInfo& row : drivers) {
        if (row.getId() == driverId) {
            return create(row);
        }
    }
    return nullptr;
}

IRtosDriver* RtosDriverFactory::create(const RtosDriverInfo& row) {
    // The one place where kernel drivers are built in.
    if (row.getId() == kFreeRtosId) {
        return new FreeRtosRtosDriver(row);
    }
    if (row.getId() == kThreadxId) {
        return new ThreadxRtosDriver(row);
    }
    return nullptr;
}

IRtosDriver* RtosDriverFactory::create() {
    for (const RtosDriverInfo& row : drivers) {
        if (SymbolTable::getInstance().resolveDataStructures({row.getMatchSymbol()})) {
            return create(row);
        }
    }
    return nullptr;
}
