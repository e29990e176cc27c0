#ifndef TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXEDGESPROGRAM_H
#define TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXEDGESPROGRAM_H

#include "ThreadxTestKernel.h"
#include "debuginfo/SymbolTable.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace threadxedges {

// The address of the index-th of the ten event flag groups of threadx_edges.elf, which lie in one array.
inline std::uint32_t flagGroup(ThreadxTestKernel& kernel, unsigned int index) {
    StructInfo group;
    EXPECT_TRUE(SymbolTable::getInstance().lookupStruct("TX_EVENT_FLAGS_GROUP_STRUCT", group));
    return kernel.address("flag_ring") + index * group.getSize();
}

// The created-next link of the last group: failing it leaves nine good groups, then a walk that fails.
inline std::uint32_t tenthFlagGroupLink(ThreadxTestKernel& kernel) {
    return kernel.memberAddress(flagGroup(kernel, 9), "TX_EVENT_FLAGS_GROUP_STRUCT",
                                "tx_event_flags_group_created_next");
}

} // namespace threadxedges

#endif
