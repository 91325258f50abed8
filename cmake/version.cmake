# Reads the first four numbers of the version from zandrel/version.h, where it is written once.
function(zandrel_read_version result)
  set(header "${CMAKE_CURRENT_SOURCE_DIR}/zandrel/version.h")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${header}")
  file(READ "${header}" text)
  if(NOT text MATCHES "kZandrelVersion.5. = {([0-9]+), ([0-9]+), ([0-9]+), ([0-9]+), [0-9]+}")
    message(FATAL_ERROR "No version found in ${header}")
  endif()
  set(${result}
      "${CMAKE_MATCH_1}.${CMAKE_MATCH_2}.${CMAKE_MATCH_3}.${CMAKE_MATCH_4}"
      PARENT_SCOPE)
endfunction()
