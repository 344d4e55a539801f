# One warning policy for every target of the project.
function(kw_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
    -Wnon-virtual-dtor -Wcast-align -Woverloaded-virtual -Wformat=2
    -Wimplicit-fallthrough -Werror=return-type)
endfunction()
