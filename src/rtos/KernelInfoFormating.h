#ifndef TARNWICK_RTOS_KERNELINFOFORMATING_H
#define TARNWICK_RTOS_KERNELINFOFORMATING_H

// Output forms of monitor command results; the numbers are those the user's options map to.
enum KernelInfoFormating : unsigned int { FORMAT_TABULAR = 0, FORMAT_TREE = 1, FORMAT_JSON = 2 };

#endif
