# The warnings of the whole project: link zandrel_warnings PRIVATE. Warnings are errors only in the
# presets, so that a newer compiler cannot break the build of somebody who only uses the library.
add_library(zandrel_warnings INTERFACE)
# Exact equality of floating-point numbers is part of the engine: no -Wfloat-equal.
target_compile_options(
  zandrel_warnings
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wdouble-promotion
            -Wold-style-cast
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wformat=2
            -Wimplicit-fallthrough)

# g++ 12 reports overlapping copies inside std::string's own operator+ when it optimises.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(zandrel_warnings INTERFACE -Wno-restrict)
endif()

# The same for a program in C11.
function(zandrel_set_c11 program)
  set_target_properties(${program} PROPERTIES C_STANDARD 11 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
  target_compile_options(${program} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                            -Wformat=2 -Wstrict-prototypes)
endfunction()
