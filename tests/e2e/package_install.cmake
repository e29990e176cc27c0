# tarnwick as installed by `cmake --install`, the .deb and the .tar.gz, each into a scratch directory: layout,
# banner, and a GDB session through the installed binary. cpack runs one at a time on this build tree.
foreach(case install deb tgz)
  add_test(NAME e2e_package_${case}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/package_install.py --case ${case}
            --build-dir ${CMAKE_BINARY_DIR} --target-sim $<TARGET_FILE:target_sim>)
  set_tests_properties(e2e_package_${case} PROPERTIES LABELS e2e TIMEOUT 300 RESOURCE_LOCK tarnwick_install)
endforeach()
