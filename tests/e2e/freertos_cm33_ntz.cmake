# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M33 without TrustZone (ARM_CM33_NTZ): basic and extended frames with PSPLIM.
include(${CMAKE_CURRENT_LIST_DIR}/freertos_suite.cmake)
tarnwick_freertos_suite(cm33_ntz)
