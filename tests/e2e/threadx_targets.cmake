# GDB through tarnwick on each ThreadX-shaped target program (tests/fixtures/targets/threadx), served by the
# target simulator: threads, saved registers, backtraces, the state command, stepping, kill and a reconnection
# that detects the kernel. One test per program.
foreach(case cm0 cm3 cm4 cm7 cm33 ca7 ca7_novfp)
  add_test(NAME e2e_threadx_${case}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/threadx_targets.py --case ${case}
            --tarnwick $<TARGET_FILE:tarnwick>
            --target-sim $<TARGET_FILE:target_sim>
            --fixtures ${TARNWICK_FIXTURES_BINARY_DIR}
            --sources ${PROJECT_SOURCE_DIR}/tests/fixtures/targets/threadx
            --expected ${PROJECT_SOURCE_DIR}/tests/fixtures/expected)
  set_tests_properties(e2e_threadx_${case} PROPERTIES LABELS e2e TIMEOUT 60)
endforeach()
