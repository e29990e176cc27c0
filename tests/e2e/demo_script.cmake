# scripts/demo.sh as the README tells a newcomer to run it, on the programs of this build: both kernels, line by
# line, the real FreeRTOS kernel under QEMU, and the ways it must fail without leaving a process or a file
# behind. Without the real kernels the qemu case skips, saying why.
foreach(case freertos threadx qemu failures)
  set(extra)
  set(labels e2e)
  if(case STREQUAL "qemu")
    set(labels e2e realkernel)
    if(NOT TARNWICK_REAL_KERNELS)
      set(extra --unavailable ${TARNWICK_REAL_KERNELS_REASON})
    endif()
  endif()
  add_test(NAME e2e_demo_${case}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/demo_script.py --case ${case}
            --build-dir ${CMAKE_BINARY_DIR} ${extra})
  set_tests_properties(e2e_demo_${case} PROPERTIES LABELS "${labels}" TIMEOUT 180 SKIP_RETURN_CODE 77)
endforeach()
