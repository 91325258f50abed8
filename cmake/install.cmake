# Installs the shared libraries with their headers, a package for find_package(zandrel), a description
# for pkg-config, and the program if it is built. No installed file contains the prefix, so an
# installed tree can be staged by DESTDIR and moved.
include(CMakePackageConfigHelpers)

install(TARGETS zandrel EXPORT zandrelTargets FILE_SET HEADERS)
if(TARGET zandrel_text)
  install(TARGETS zandrel_text EXPORT zandrelTargets FILE_SET HEADERS)
endif()

# The public headers need no other packages, so the package contains only the exported targets.
set(zandrel_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zandrel")
install(
  EXPORT zandrelTargets
  NAMESPACE zandrel::
  DESTINATION "${zandrel_package_dir}"
  FILE zandrelConfig.cmake)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/zandrelConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zandrelConfigVersion.cmake"
        DESTINATION "${zandrel_package_dir}")

# pkg-config sets ${pcfiledir}, and the prefix is computed from it, so the installed tree can be
# moved. A library folder that is given as an absolute path does not move.
set(zandrel_pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(IS_ABSOLUTE "${zandrel_pc_dir}")
  set(zandrel_pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH zandrel_pc_prefix "/${zandrel_pc_dir}" "/")
  string(REGEX REPLACE "/$" "" zandrel_pc_prefix "\${pcfiledir}/${zandrel_pc_prefix}")
endif()
foreach(kind LIBDIR INCLUDEDIR)
  cmake_path(APPEND zandrel_pc_${kind} "\${prefix}" "${CMAKE_INSTALL_${kind}}")
endforeach()
configure_file(cmake/zandrel.pc.in "${PROJECT_BINARY_DIR}/zandrel.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zandrel.pc" DESTINATION "${zandrel_pc_dir}")
if(TARGET zandrel_text)
  configure_file(cmake/zandrel_text.pc.in "${PROJECT_BINARY_DIR}/zandrel_text.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/zandrel_text.pc" DESTINATION "${zandrel_pc_dir}")
endif()
