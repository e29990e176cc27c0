# monitor rtos state of the complete FreeRTOS and ThreadX snapshots through gdb-multiarch, equal to the texts the
# driver tests compare over fake peers.
foreach(kernel freertos threadx)
  add_test(NAME e2e_snapshot_state_${kernel}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/snapshot_state.py --kernel ${kernel}
            --tarnwick $<TARGET_FILE:tarnwick>
            --target-sim $<TARGET_FILE:target_sim>
            --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
  set_tests_properties(e2e_snapshot_state_${kernel} PROPERTIES LABELS e2e TIMEOUT 60)
endforeach()
