# FreeRTOS end to end through tarnwick and the target simulator on Cortex-M33 without TrustZone (ARM_CM33_NTZ): basic and extended frames with PSPLIM.
tarnwick_e2e_test(e2e_freertos_cm33_ntz freertos_targets.py SIM CASE --program cm33_ntz)
