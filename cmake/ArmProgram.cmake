# tarnwick_arm_program(NAME <name> SOURCES <c and .S files> [DEPENDS <headers, linker scripts>]
#                      [CFLAGS <flags>] [LDFLAGS <flags>])
# Compiles one of our Arm target programs with arm-none-eabi-gcc into <build>/tests/fixtures/<name>.elf
# and adds it to the target tarnwick_fixtures.
find_program(ARM_GCC arm-none-eabi-gcc REQUIRED)
set(TARNWICK_FIXTURES_OUTPUT_DIR ${CMAKE_BINARY_DIR}/tests/fixtures)
function(tarnwick_arm_program)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;DEPENDS;CFLAGS;LDFLAGS" ${ARGN})
  set(out ${TARNWICK_FIXTURES_OUTPUT_DIR}/${ARG_NAME}.elf)
  set(sources)
  foreach(src ${ARG_SOURCES})
    list(APPEND sources ${CMAKE_CURRENT_SOURCE_DIR}/${src})
  endforeach()
  add_custom_command(OUTPUT ${out}
    COMMAND ${ARM_GCC} -g -O0 ${ARG_CFLAGS} ${sources} ${ARG_LDFLAGS} -o ${out}
    DEPENDS ${sources} ${ARG_DEPENDS}
    COMMENT "Arm target program ${ARG_NAME}.elf"
    VERBATIM)
  add_custom_target(fixture_${ARG_NAME} DEPENDS ${out})
  add_dependencies(tarnwick_fixtures fixture_${ARG_NAME})
endfunction()
