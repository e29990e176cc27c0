# Unpacks the real kernels' sources under the build folder at configure time (scripts/kernels.sh says where
# they come from) and sets:
#   TARNWICK_REAL_KERNELS        ON when both kernels are unpacked
#   TARNWICK_REAL_KERNELS_REASON the script's line saying why not, otherwise empty
#   TARNWICK_FREERTOS_SOURCE     the FreeRTOS-Kernel V11.1.0 tree
#   TARNWICK_THREADX_SOURCE      the ThreadX v6.4.2_rel tree
# Suites that need them register anyway and skip with the reason, so that a run without them says so once
# per suite instead of passing in silence.
set(TARNWICK_KERNELS_BINARY_DIR ${CMAKE_BINARY_DIR}/kernels)
execute_process(
  COMMAND bash ${PROJECT_SOURCE_DIR}/scripts/kernels.sh ${TARNWICK_KERNELS_BINARY_DIR}
  RESULT_VARIABLE kernels_status
  OUTPUT_VARIABLE kernels_output
  OUTPUT_STRIP_TRAILING_WHITESPACE)
set(TARNWICK_FREERTOS_SOURCE ${TARNWICK_KERNELS_BINARY_DIR}/FreeRTOS-Kernel-V11.1.0)
set(TARNWICK_THREADX_SOURCE ${TARNWICK_KERNELS_BINARY_DIR}/threadx-v6.4.2_rel)
if(kernels_status EQUAL 0)
  set(TARNWICK_REAL_KERNELS ON)
  set(TARNWICK_REAL_KERNELS_REASON "")
else()
  set(TARNWICK_REAL_KERNELS OFF)
  set(TARNWICK_REAL_KERNELS_REASON "${kernels_output}")
endif()
message(STATUS "${kernels_output}")
