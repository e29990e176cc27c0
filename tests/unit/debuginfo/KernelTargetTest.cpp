#include "KernelTarget.h"

#include "DebugInfoTestSupport.h"
#include "TestPaths.h"

#include "debuginfo/SymbolTable.h"

#include <gtest/gtest.h>

#include <cstdio>

// The rig that driver tests stand on: a fixture program served over a socket with its real layouts.
TEST(KernelTargetIntegration, ServesTheProgramWithItsLayoutsAndSymbols) {
    KernelTarget kernel("shapes_freertos_full.elf");
    ASSERT_TRUE(kernel.ok());
    std::uint32_t running = kernel.symbolAddress("xSchedulerRunning");
    // GDB's address of the symbol, and its value in the program as built.
    char address[16];
    snprintf(address, sizeof(address), "0x%x", running);
    EXPECT_EQ(std::string("$1 = ") + address + "\n$2 = 0x0\n",
              gdbOutput(testpaths::fixturesDir() + "/shapes_freertos_full.elf",
                        {"print/x &xSchedulerRunning", "print/x xSchedulerRunning"}));
    kernel.addSymbols({"xSchedulerRunning", "noSuchSymbol"});
    Symbol symbol;
    ASSERT_TRUE(SymbolTable::getInstance().lookupSymbol("xSchedulerRunning", symbol));
    EXPECT_EQ(running, symbol.getAddress32());
    EXPECT_FALSE(SymbolTable::getInstance().lookupSymbol("noSuchSymbol", symbol));
    EXPECT_TRUE(kernel.resolveStructures({"xLIST", "tskTaskControlBlock"}));

    std::string served = kernel.target().readMemory(running, 4);
    kernel.resetReads();
    std::vector<unsigned char> data;
    ASSERT_TRUE(kernel.server().readMemory(running, 4, data));
    char hex[9];
    snprintf(hex, sizeof(hex), "%02x%02x%02x%02x", data[0], data[1], data[2], data[3]);
    EXPECT_EQ("00000000", served);
    EXPECT_EQ(served, hex);
    EXPECT_EQ(1u, kernel.memoryReads());
}
