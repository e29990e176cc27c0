# tarnwick_freertos_suite(<program>): one end-to-end test of freertos_targets.py on a target program
# of tests/fixtures/targets/freertos (or "hundred"), through the target simulator. Each freertos_<program>.cmake
# registers its own.
include_guard(GLOBAL)
function(tarnwick_freertos_suite program)
  add_test(NAME e2e_freertos_${program}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/freertos_targets.py --program ${program}
            --tarnwick $<TARGET_FILE:tarnwick>
            --target-sim $<TARGET_FILE:target_sim>
            --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
  set_tests_properties(e2e_freertos_${program} PROPERTIES LABELS e2e TIMEOUT 60)
endfunction()
