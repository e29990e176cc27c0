# FreeRTOS end to end through tarnwick and the target simulator with one hundred tasks: a monitor reply far
# larger than 20 KB in hex arrives whole.
include(${CMAKE_CURRENT_LIST_DIR}/freertos_suite.cmake)
tarnwick_freertos_suite(hundred)
