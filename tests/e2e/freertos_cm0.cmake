# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M0 (ARM_CM0): basic frames.
tarnwick_e2e_test(e2e_freertos_cm0 freertos_targets.py SIM CASE --program cm0)
