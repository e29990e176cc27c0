# Warnings are set per target, so that test code built from other projects' headers keeps its own.
function(tarnwick_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Woverloaded-virtual -Wnon-virtual-dtor
    -Wcast-align -Wformat=2 -Wmissing-declarations)
  if(TARNWICK_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
