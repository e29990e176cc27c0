# The FreeRTOS session through tarnwick in front of the target simulator with and without --ack-mode: the same
# GDB output.
add_test(NAME e2e_ack_mode_session
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/ack_mode_session.py --program cm3
          --tarnwick $<TARGET_FILE:tarnwick>
          --target-sim $<TARGET_FILE:target_sim>
          --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
set_tests_properties(e2e_ack_mode_session PROPERTIES LABELS e2e TIMEOUT 60)
