#ifndef TARNWICK_TESTS_UNIT_RTOS_FREERTOS_FREERTOSDRIVERTESTSUPPORT_H
#define TARNWICK_TESTS_UNIT_RTOS_FREERTOS_FREERTOSDRIVERTESTSUPPORT_H

#include "KernelTarget.h"
#include "base/Logger.h"
#include "base/Properties.h"
#include "debuginfo/SymbolTable.h"
#include "rtos/KernelInfoNode.h"
#include "rtos/MissingMemberLog.h"
#include "rtos/RtosDriverInfo.h"
#include "rtos/freertos/FreeRtosRtosDriver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace freertostest {

// The driver against one of the kernel snapshots of tests/fixtures/freertos, after a symbol negotiation
// in which GDB knew every symbol the program defines; all log severities on.
class FreeRtosDriverTest : public ::testing::Test {
protected:
    // Options are set before the driver is made, since its constructor reads "--opt_task_sel". Symbols
    // named in unknown stay unknown, as if GDB had no address for them; structures in unresolved are not
    // looked for.
    void load(const std::string& program, const std::map<std::string, std::string>& options = {},
              const std::vector<std::string>& unknown = {}, const std::vector<std::string>& unresolved = {}) {
        // The target of an earlier load goes first: its end clears the symbol table and the options.
        driver.reset();
        kernel.reset();
        kernel = std::make_unique<KernelTarget>(program);
        ASSERT_TRUE(kernel->ok());
        for (const auto& option : options) {
            Properties::getInstance().addProperty(option.first, option.second);
        }
        RtosDriverInfo row;
        row.setName("FreeRTOS");
        row.setId("freertos");
        driver = std::make_unique<FreeRtosRtosDriver>(row);
        std::vector<std::string> symbols;
        driver->getSymbols(symbols);
        kernel->addSymbols(without(symbols, unknown));
        std::vector<std::string> structures;
        driver->getDataStructures(structures);
        kernel->resolveStructures(without(structures, unresolved));
        MissingMemberLog::getInstance().forget();
        Logger::getInstance().setLogLevel(Logger::LOG_INFO | Logger::LOG_WARNING | Logger::LOG_ERROR |
                                          Logger::LOG_DEBUG);
        kernel->resetReads();
    }

    void TearDown() override {
        driver.reset();
        kernel.reset();
    }

    static std::vector<std::string> without(std::vector<std::string> names,
                                            const std::vector<std::string>& left) {
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [&](const std::string& name) {
                                       return std::find(left.begin(), left.end(), name) != left.end();
                                   }),
                    names.end());
        return names;
    }

    unsigned int address(const std::string& symbol) const {
        unsigned int found = kernel->symbolAddress(symbol);
        EXPECT_NE(0u, found) << symbol;
        return found;
    }

    // The target address of a member of the structure instance at base.
    static unsigned int member(const std::string& structure, unsigned int base, const std::string& name) {
        StructInfo layout;
        MemberInfo info;
        EXPECT_TRUE(SymbolTable::getInstance().lookupStruct(structure, layout)) << structure;
        EXPECT_TRUE(layout.lookup(name, info)) << structure << "." << name;
        return base + info.getOffset();
    }

    unsigned int taskMember(const std::string& task, const std::string& name) const {
        return member("tskTaskControlBlock", address(task), name);
    }

    void writeWord(unsigned int at, unsigned int value) {
        std::vector<std::uint8_t> bytes;
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<std::uint8_t>(value >> shift));
        }
        ASSERT_EQ("OK", kernel->target().writeMemory(at, bytes));
    }

    // Every task list of freertos_snapshot emptied: the kernel then has no task.
    void emptyEveryTaskList() {
        for (const char* list :
             {"xDelayedTaskList1", "xDelayedTaskList2", "xPendingReadyList", "xSuspendedTaskList"}) {
            writeWord(address(list), 0);
        }
        for (unsigned int priority : {0u, 1u, 5u}) {
            writeWord(address("pxReadyTasksLists") + priority * 20, 0);
        }
    }

    // Reads fail at these bytes as on a bus fault.
    void fault(unsigned int at, unsigned int length) {
        targetsim::ErrorRange range;
        range.address = at;
        range.length = length;
        kernel->target().addErrorRange(range);
    }

    // "0x" and eight hexadecimal digits, as the driver writes addresses.
    static std::string hex(unsigned int value) {
        char text[16];
        snprintf(text, sizeof(text), "0x%08x", value);
        return text;
    }

    // The value of the child with this label, or "<none>".
    static std::string child(const KernelInfoNode& node, const std::string& label) {
        for (const KernelInfoNode& each : node.getChildNodes()) {
            if (each.getLabel() == label) {
                return each.getValue();
            }
        }
        return "<none>";
    }

    static std::vector<std::string> labels(const KernelInfoNode& node) {
        std::vector<std::string> result;
        for (const KernelInfoNode& each : node.getChildNodes()) {
            result.push_back(each.getLabel());
        }
        return result;
    }

    // The values of one child of every task, in walk order.
    static std::vector<std::string> column(const KernelInfoNode& tasks, const std::string& label) {
        std::vector<std::string> result;
        for (const KernelInfoNode& task : tasks.getChildNodes()) {
            result.push_back(child(task, label));
        }
        return result;
    }

    std::unique_ptr<KernelTarget> kernel;
    std::unique_ptr<FreeRtosRtosDriver> driver;
};

} // namespace freertostest

#endif
