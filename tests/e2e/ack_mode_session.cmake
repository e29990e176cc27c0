# The FreeRTOS session through tarnwick in front of the target simulator with and without --ack-mode: the same
# GDB output.
tarnwick_e2e_test(e2e_ack_mode_session ack_mode_session.py SIM CASE --program cm3)
