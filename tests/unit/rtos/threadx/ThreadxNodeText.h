#ifndef TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXNODETEXT_H
#define TARNWICK_TESTS_UNIT_RTOS_THREADX_THREADXNODETEXT_H

#include "rtos/KernelInfoNode.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace threadxtext {

// An address as the monitor's nodes write it: 0x and eight hexadecimal digits.
inline std::string hex8(std::uint32_t value) {
    char text[16];
    snprintf(text, sizeof(text), "0x%08x", value);
    return text;
}

// The labels of a node's children, in their order.
inline std::vector<std::string> labelsOf(const KernelInfoNode& node) {
    std::vector<std::string> labels;
    for (const KernelInfoNode& child : node.getChildNodes()) {
        labels.push_back(child.getLabel());
    }
    return labels;
}

} // namespace threadxtext

#endif
