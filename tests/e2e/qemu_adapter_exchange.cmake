# The QEMU adapter against a fake gdbstub, every byte checked on both sides; no QEMU needed.
add_test(NAME e2e_qemu_adapter_exchange
  COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/qemu_adapter_exchange.py)
set_tests_properties(e2e_qemu_adapter_exchange PROPERTIES LABELS e2e TIMEOUT 60)
