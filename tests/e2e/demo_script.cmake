# scripts/demo.sh as the README tells a newcomer to run it, on the programs of this build: both kernels, line by
# line, and the ways it must fail without leaving a process or a file behind.
foreach(case freertos threadx failures)
  add_test(NAME e2e_demo_${case}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/demo_script.py --case ${case}
            --build-dir ${CMAKE_BINARY_DIR})
  set_tests_properties(e2e_demo_${case} PROPERTIES LABELS e2e TIMEOUT 180)
endforeach()
