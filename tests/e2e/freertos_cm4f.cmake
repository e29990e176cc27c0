# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M4F (ARM_CM4F): basic frames and an extended one with the floating-point context.
include(${CMAKE_CURRENT_LIST_DIR}/freertos_suite.cmake)
tarnwick_freertos_suite(cm4f)
