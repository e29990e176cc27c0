# The real FreeRTOS program with 100 tasks under QEMU, behind a relay that offers qXfer:threads:read, through
# tarnwick. Without the real kernels the test is registered all the same and skips, saying why.
if(TARNWICK_REAL_KERNELS)
  set(hundred_availability)
else()
  set(hundred_availability --unavailable ${TARNWICK_REAL_KERNELS_REASON})
endif()
add_test(NAME e2e_realkernel_freertos_hundred
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/realkernel_freertos_hundred.py
          --tarnwick $<TARGET_FILE:tarnwick> --fixtures ${TARNWICK_FIXTURES_BINARY_DIR} ${hundred_availability})
set_tests_properties(e2e_realkernel_freertos_hundred PROPERTIES LABELS "e2e;realkernel" TIMEOUT 60
                     SKIP_RETURN_CODE 77)
