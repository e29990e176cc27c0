# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M3 (ARM_CM3): basic frames, one with the core's alignment word.
tarnwick_e2e_test(e2e_freertos_cm3 freertos_targets.py SIM CASE --program cm3)
