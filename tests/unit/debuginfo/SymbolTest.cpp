#include "debuginfo/Symbol.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(SymbolTest, DefaultHasEmptyTexts) {
    Symbol symbol;
    EXPECT_EQ("", symbol.getName());
    EXPECT_EQ("", symbol.getAddress());
}

TEST(SymbolTest, KeepsTheTextAndConvertsItInBase16) {
    Symbol symbol("pxCurrentTCB", "20000a40");
    EXPECT_EQ("pxCurrentTCB", symbol.getName());
    EXPECT_EQ("20000a40", symbol.getAddress());
    EXPECT_EQ(0x20000a40u, symbol.getAddress32());
}

TEST(SymbolTest, ConversionHasNoEndCheck) {
    Symbol symbol("xSchedulerRunning", "1fffx");
    EXPECT_EQ("1fffx", symbol.getAddress());
    EXPECT_EQ(0x1fffu, symbol.getAddress32());
}

TEST(SymbolTest, TextWithoutDigitThrowsFromTheConversion) {
    EXPECT_THROW(Symbol("uxTopReadyPriority", "zz"), std::invalid_argument);
}

TEST(SymbolTest, CopiesMemberByMember) {
    Symbol first("a", "10");
    Symbol second;
    second = first;
    EXPECT_EQ("a", second.getName());
    EXPECT_EQ("10", second.getAddress());
    EXPECT_EQ(16u, second.getAddress32());
}
