# FreeRTOS end to end through tarnwick and the target simulator on Cortex-A9 (ARM_CA9, served as the A profile): frames with and without the FPU context.
include(${CMAKE_CURRENT_LIST_DIR}/freertos_suite.cmake)
tarnwick_freertos_suite(ca9)
