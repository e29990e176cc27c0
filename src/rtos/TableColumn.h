#ifndef TARNWICK_RTOS_TABLECOLUMN_H
#define TARNWICK_RTOS_TABLECOLUMN_H

#include <cstdint>
#include <string>

// One column of a tabular section: its head and the widest of its values and its head.
struct TableColumn {
    std::string name;
    uint32_t width = 0;
};

#endif
