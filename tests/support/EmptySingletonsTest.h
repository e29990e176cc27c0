#ifndef TARNWICK_TESTS_SUPPORT_EMPTYSINGLETONSTEST_H
#define TARNWICK_TESTS_SUPPORT_EMPTYSINGLETONSTEST_H

#include <gtest/gtest.h>

// A test that starts from empty options and an empty symbol table, every log severity on, and leaves both
// empty for the next one.
class EmptySingletonsTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

#endif
