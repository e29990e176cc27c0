# The real FreeRTOS programs under QEMU through tarnwick, one test per program. Without the real kernels the
# tests are registered all the same and skip, saying why.
if(TARNWICK_REAL_KERNELS)
  set(availability --kernel-source ${TARNWICK_FREERTOS_SOURCE})
else()
  set(availability --unavailable ${TARNWICK_REAL_KERNELS_REASON})
endif()
# realkernel_freertos_test(NAME test PROGRAM program [ARGS further options of the suite])
function(realkernel_freertos_test)
  cmake_parse_arguments(ARG "" "NAME;PROGRAM" "ARGS" ${ARGN})
  tarnwick_e2e_test(${ARG_NAME} realkernel_freertos.py SKIPS CASE --program ${ARG_PROGRAM}
    ARGS ${availability} ${ARG_ARGS} LABELS e2e realkernel)
endfunction()
foreach(program cm0 cm3 cm3_mpu cm4f cm4_mpu cm33_ntz cm33_ntz_fpu ca9
                cm0_o2 cm0_os cm4f_o2 cm4f_os cm33_ntz_o2 cm33_ntz_os cm33_ntz_fpu_o2 cm33_ntz_fpu_os
                cm3_dwarf2 cm3_dwarf4 cm3_mini_list_0 cm3_tick_wrap cm3_registry_3)
  realkernel_freertos_test(NAME e2e_realkernel_freertos_${program} PROGRAM ${program})
endforeach()
# One program with QEMU named by its host name, as users write it, rather than by address.
realkernel_freertos_test(NAME e2e_realkernel_freertos_cm3_localhost PROGRAM cm3 ARGS --server-host localhost)
