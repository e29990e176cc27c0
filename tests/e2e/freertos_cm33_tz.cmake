# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M33 with TrustZone (ARM_CM33): non-secure frames and one on the secure stack.
include(${CMAKE_CURRENT_LIST_DIR}/freertos_suite.cmake)
tarnwick_freertos_suite(cm33_tz)
