# Our ThreadX programs on the real kernel (tests/fixtures/realkernel/threadx) under QEMU, tarnwick straight in
# front of it; one test per program. Without the real kernels each test skips, saying why.
foreach(case cm0 cm3 cm4 cm4_o2 cm7 cm33 cm55 ca7)
  set(skip)
  if(NOT TARNWICK_REAL_KERNELS)
    set(skip --skip-reason "${TARNWICK_REAL_KERNELS_REASON}")
  endif()
  add_test(NAME e2e_realkernel_threadx_${case}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/realkernel_threadx.py --case ${case}
            --tarnwick $<TARGET_FILE:tarnwick>
            --fixtures ${TARNWICK_FIXTURES_BINARY_DIR} ${skip})
  set_tests_properties(e2e_realkernel_threadx_${case} PROPERTIES LABELS "e2e;realkernel" TIMEOUT 60
                       SKIP_RETURN_CODE 77)
endforeach()
