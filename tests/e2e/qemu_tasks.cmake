# The scheduler programs under QEMU, straight and through tarnwick; one test per case.
foreach(case cm3 cm4f registers control determinism)
  tarnwick_e2e_test(e2e_qemu_${case} qemu_tasks.py CASE --case ${case})
endforeach()
