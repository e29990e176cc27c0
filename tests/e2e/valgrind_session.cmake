# A whole GDB session through tarnwick under valgrind memcheck, one test per kernel. Only in a build without
# sanitizers (memcheck cannot run their binaries) and where valgrind is installed.
find_program(VALGRIND valgrind)
if(VALGRIND AND NOT TARNWICK_SANITIZE)
  foreach(case freertos threadx)
    tarnwick_e2e_test(e2e_valgrind_${case} valgrind_session.py SIM CASE --case ${case}
      LABELS e2e valgrind TIMEOUT 400)
  endforeach()
endif()
