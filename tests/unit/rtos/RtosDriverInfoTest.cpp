#include "rtos/RtosDriverInfo.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(RtosDriverInfoTest, FieldsCopyMemberByMember) {
    RtosDriverInfo info;
    info.setName("FreeRTOS");
    info.setId("freertos");
    info.setMatchSymbol("tskTaskControlBlock");
    info.setDescription("description");
    info.setLibraryPath("lib");

    RtosDriverInfo copy(info);
    info.setName("changed");
    EXPECT_EQ("FreeRTOS", copy.getName());
    EXPECT_EQ("freertos", copy.getId());
    EXPECT_EQ("tskTaskControlBlock", copy.getMatchSymbol());
    EXPECT_EQ("description", copy.getDescription());
    EXPECT_EQ("lib", copy.getLibraryPath());

    RtosDriverInfo assigned;
    assigned = copy;
    EXPECT_EQ("FreeRTOS", assigned.getName());
    EXPECT_EQ("lib", assigned.getLibraryPath());
}

TEST(RtosDriverInfoTest, CreateIsNotImplemented) {
    RtosDriverInfo info;
    info.setId("freertos");
    try {
        info.create("freertos");
        FAIL() << "create must throw";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ("Method not implemented", error.what());
    }
}
