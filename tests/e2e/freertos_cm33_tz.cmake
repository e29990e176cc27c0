# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M33 with TrustZone (ARM_CM33): non-secure frames and one on the secure stack.
tarnwick_e2e_test(e2e_freertos_cm33_tz freertos_targets.py SIM CASE --program cm33_tz)
