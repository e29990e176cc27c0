#include "EmptySingletonsTest.h"

#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"

void EmptySingletonsTest::SetUp() {
    Properties::getInstance().clear();
    SymbolTable::getInstance().clear();
    Logger::getInstance().setLogLevel(Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR |
                                      Logger::LOG_DEBUG);
}

void EmptySingletonsTest::TearDown() {
    Properties::getInstance().clear();
    SymbolTable::getInstance().clear();
}
