#include "rtos/MissingMemberLog.h"

#include "base/Logger.h"

MissingMemberLog& MissingMemberLog::getInstance() {
    static MissingMemberLog instance;
    return instance;
}

void MissingMemberLog::report(const std::string& structure, const std::string& member) {
    const std::string name = structure + "." + member;
    if (reported.insert(name).second) {
        Logger::getInstance().log(Logger::LOG_INFO, "MissingMemberLog",
                                  "Member not in this kernel build: %s.\n", name.c_str());
    }
}
