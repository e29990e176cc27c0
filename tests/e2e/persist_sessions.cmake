# One tarnwick with --persist true serving GDB sessions one after another against the target simulator;
# a session whose server has gone away; Ctrl-C while waiting.
add_test(NAME e2e_persist_sessions
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/persist_sessions.py
          --tarnwick $<TARGET_FILE:tarnwick>
          --target-sim $<TARGET_FILE:target_sim>
          --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
set_tests_properties(e2e_persist_sessions PROPERTIES LABELS e2e TIMEOUT 90)
