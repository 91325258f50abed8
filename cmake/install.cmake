# Installs the shared library with its headers and a package for find_package(zandrel).
include(CMakePackageConfigHelpers)

set(zandrel_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zandrel")

install(TARGETS zandrel EXPORT zandrelTargets)
install(
  DIRECTORY "${PROJECT_SOURCE_DIR}/zandrel"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILES_MATCHING
  PATTERN "*.h")
install(
  EXPORT zandrelTargets
  NAMESPACE zandrel::
  DESTINATION "${zandrel_package_dir}"
  FILE zandrelConfig.cmake)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/zandrelConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zandrelConfigVersion.cmake"
        DESTINATION "${zandrel_package_dir}")
