# Compiles through ccache where it is installed, so that a second build of the same sources takes
# seconds. Precompiled headers need these two settings: without them ccache treats each header as
# new.
find_program(ZANDREL_CCACHE ccache)
mark_as_advanced(ZANDREL_CCACHE)
if(ZANDREL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${ZANDREL_CCACHE}")
endif()
if(ZANDREL_CCACHE AND NOT CMAKE_C_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER "${ZANDREL_CCACHE}")
endif()
