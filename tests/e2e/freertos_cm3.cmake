# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M3 (ARM_CM3): basic frames, one with the core's alignment word.
include(${CMAKE_CURRENT_LIST_DIR}/freertos_suite.cmake)
tarnwick_freertos_suite(cm3)
