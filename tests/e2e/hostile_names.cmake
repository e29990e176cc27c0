# Task names with frame, XML and JSON bytes through gdb-multiarch: info threads and the three monitor forms.
tarnwick_e2e_test(e2e_hostile_names hostile_names.py SIM)
