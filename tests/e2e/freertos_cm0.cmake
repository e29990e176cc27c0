# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M0 (ARM_CM0): basic frames.
include(${CMAKE_CURRENT_LIST_DIR}/freertos_suite.cmake)
tarnwick_freertos_suite(cm0)
