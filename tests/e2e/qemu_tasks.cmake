# The scheduler programs under QEMU, straight and through tarnwick; one test per case.
foreach(case cm3 cm4f registers control determinism)
  add_test(NAME e2e_qemu_${case}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/qemu_tasks.py --case ${case}
            --tarnwick $<TARGET_FILE:tarnwick>
            --fixtures ${TARNWICK_FIXTURES_BINARY_DIR})
  set_tests_properties(e2e_qemu_${case} PROPERTIES LABELS e2e TIMEOUT 60)
endforeach()
