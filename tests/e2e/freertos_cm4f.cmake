# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M4F (ARM_CM4F): basic frames and an extended one with the floating-point context.
tarnwick_e2e_test(e2e_freertos_cm4f freertos_targets.py SIM CASE --program cm4f)
