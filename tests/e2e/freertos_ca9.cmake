# FreeRTOS end to end through tarnwick and the target simulator on Cortex-A9 (ARM_CA9, served as the A profile): frames with and without the FPU context.
tarnwick_e2e_test(e2e_freertos_ca9 freertos_targets.py SIM CASE --program ca9)
