# A whole GDB session through tarnwick under valgrind memcheck, one test per kernel. Only in a build without
# sanitizers (memcheck cannot run their binaries) and where valgrind is installed.
find_program(VALGRIND valgrind)
if(VALGRIND AND NOT TARNWICK_SANITIZE)
  foreach(case freertos threadx)
    add_test(NAME e2e_valgrind_${case}
      COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/valgrind_session.py --case ${case}
              --tarnwick $<TARGET_FILE:tarnwick> --target-sim $<TARGET_FILE:target_sim>
              --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
    set_tests_properties(e2e_valgrind_${case} PROPERTIES LABELS "e2e;valgrind" TIMEOUT 400)
  endforeach()
endif()
