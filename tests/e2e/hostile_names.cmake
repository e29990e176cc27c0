# Task names with frame, XML and JSON bytes through gdb-multiarch: info threads and the three monitor forms.
add_test(NAME e2e_hostile_names
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/hostile_names.py
          --tarnwick $<TARGET_FILE:tarnwick>
          --target-sim $<TARGET_FILE:target_sim>
          --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
set_tests_properties(e2e_hostile_names PROPERTIES LABELS e2e TIMEOUT 60)
