# monitor rtos state of the complete FreeRTOS and ThreadX snapshots through gdb-multiarch, equal to the texts the
# driver tests compare over fake peers.
foreach(kernel freertos threadx)
  tarnwick_e2e_test(e2e_snapshot_state_${kernel} snapshot_state.py SIM CASE --kernel ${kernel})
endforeach()
