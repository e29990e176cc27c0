# The real FreeRTOS program with 100 tasks under QEMU, behind a relay that offers qXfer:threads:read, through
# tarnwick. Without the real kernels the test is registered all the same and skips, saying why.
if(TARNWICK_REAL_KERNELS)
  set(hundred_availability)
else()
  set(hundred_availability --unavailable ${TARNWICK_REAL_KERNELS_REASON})
endif()
tarnwick_e2e_test(e2e_realkernel_freertos_hundred realkernel_freertos_hundred.py SKIPS
  ARGS ${hundred_availability} LABELS e2e realkernel)
