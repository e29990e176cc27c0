# tarnwick started twice from options files (comments, NAME=VALUE aliases), with the debug-info cache made by
# the real readelf at the first start and reused at the second, which detects kernel and core.
tarnwick_e2e_test(e2e_options_file options_file.py SIM
  ARGS --sources ${PROJECT_SOURCE_DIR}/tests/fixtures/targets/threadx)
