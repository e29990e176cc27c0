# Our ThreadX programs on the real kernel (tests/fixtures/realkernel/threadx) under QEMU, tarnwick straight in
# front of it; one test per program. Without the real kernels each test skips, saying why.
set(skip)
if(NOT TARNWICK_REAL_KERNELS)
  set(skip --skip-reason "${TARNWICK_REAL_KERNELS_REASON}")
endif()
foreach(case cm0 cm3 cm4 cm4_o2 cm7 cm33 cm55 ca7)
  tarnwick_e2e_test(e2e_realkernel_threadx_${case} realkernel_threadx.py SKIPS CASE --case ${case}
    ARGS ${skip} LABELS e2e realkernel)
endforeach()
