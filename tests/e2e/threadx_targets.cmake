# GDB through tarnwick on each ThreadX-shaped target program (tests/fixtures/targets/threadx), served by the
# target simulator: threads, saved registers, backtraces, the state command, stepping, kill and a reconnection
# that detects the kernel. One test per program.
foreach(case cm0 cm3 cm4 cm7 cm33 ca7 ca7_novfp)
  tarnwick_e2e_test(e2e_threadx_${case} threadx_targets.py SIM CASE --case ${case}
    ARGS --sources ${PROJECT_SOURCE_DIR}/tests/fixtures/targets/threadx
         --expected ${PROJECT_SOURCE_DIR}/tests/fixtures/expected)
endforeach()
