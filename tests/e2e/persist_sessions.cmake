# One tarnwick with --persist true serving GDB sessions one after another, against the target simulator (with a
# session whose server has gone away) and against QEMU; Ctrl-C while waiting.
tarnwick_e2e_test(e2e_persist_sessions persist_sessions.py SIM CASE --case sim TIMEOUT 90)
tarnwick_e2e_test(e2e_persist_sessions_qemu persist_sessions.py CASE --case qemu TIMEOUT 90)
