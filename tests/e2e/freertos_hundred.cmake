# FreeRTOS end to end through tarnwick and the target simulator with one hundred tasks: a monitor reply far
# larger than 20 KB in hex arrives whole.
tarnwick_e2e_test(e2e_freertos_hundred freertos_targets.py SIM CASE --program hundred)
