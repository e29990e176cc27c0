#ifndef TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXTESTLOG_H
#define TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXTESTLOG_H

#include "base/Logger.h"

#include <gtest/gtest.h>

#include <string>

namespace threadxlog {

constexpr unsigned int kAll = Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR | Logger::LOG_DEBUG;
// The default of "--loglevel": everything but LOG_DEBUG.
constexpr unsigned int kDefault = Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR;

// Runs action with the log mask set to mask and returns what it logged; the log is silent afterwards.
template <class Action> std::string capture(unsigned int mask, Action action) {
    Logger::getInstance().setLogLevel(mask);
    ::testing::internal::CaptureStdout();
    action();
    std::string text = ::testing::internal::GetCapturedStdout();
    Logger::getInstance().setLogLevel(0);
    return text;
}

} // namespace threadxlog

#endif
