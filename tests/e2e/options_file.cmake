# tarnwick started twice from options files (comments, NAME=VALUE aliases), with the debug-info cache made by
# the real readelf at the first start and reused at the second, which detects kernel and core.
add_test(NAME e2e_options_file
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/options_file.py
          --tarnwick $<TARGET_FILE:tarnwick>
          --target-sim $<TARGET_FILE:target_sim>
          --fixtures ${TARNWICK_FIXTURES_BINARY_DIR}
          --sources ${PROJECT_SOURCE_DIR}/tests/fixtures/targets/threadx)
set_tests_properties(e2e_options_file PROPERTIES LABELS e2e TIMEOUT 60)
