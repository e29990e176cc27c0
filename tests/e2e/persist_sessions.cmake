# One tarnwick with --persist true serving GDB sessions one after another, against the target simulator (with a
# session whose server has gone away) and against QEMU; Ctrl-C while waiting.
add_test(NAME e2e_persist_sessions
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/persist_sessions.py --case sim
          --tarnwick $<TARGET_FILE:tarnwick>
          --target-sim $<TARGET_FILE:target_sim>
          --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
add_test(NAME e2e_persist_sessions_qemu
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/persist_sessions.py --case qemu
          --tarnwick $<TARGET_FILE:tarnwick>
          --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
set_tests_properties(e2e_persist_sessions e2e_persist_sessions_qemu PROPERTIES LABELS e2e TIMEOUT 90)
