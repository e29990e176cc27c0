# One GDB session against the target simulator, directly and through tarnwick; the two must print the same.
add_test(NAME e2e_gdb_session
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/gdb_session.py
          --tarnwick $<TARGET_FILE:tarnwick>
          --target-sim $<TARGET_FILE:target_sim>
          --elf ${TARNWICK_FIXTURES_BINARY_DIR}/sim_cm3.elf)
set_tests_properties(e2e_gdb_session PROPERTIES LABELS e2e TIMEOUT 60)
