# Installation: libraries, public headers, pkg-config file and CMake package.

include(CMakePackageConfigHelpers)

# What only the tools load: no program links to it, the loader need not find it.
set(BOARD_HAL_PRIVATE_LIBDIR ${CMAKE_INSTALL_LIBDIR}/board_hal)

install(FILES include/board_hal.h include/board_hal_cpld.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS board_hal EXPORT board_hal_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(NOT BOARD_HAL_USE_SYSTEM_VOS)
  # libvos is a private dependency: only its shared object is installed, so
  # that the loader finds it beside libboard_hal.
  install(TARGETS vos EXPORT board_hal_targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(EXPORT board_hal_targets NAMESPACE board_hal::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/board_hal)

configure_package_config_file(cmake/board_halConfig.cmake.in board_halConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/board_hal)
write_basic_package_version_file(board_halConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/board_halConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/board_halConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/board_hal)

# Written in its place when that is known: the prefix is the installation's, not
# the configuration's.
install(CODE "
  set(PROJECT_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
  set(PROJECT_VERSION ${PROJECT_VERSION})
  set(CMAKE_INSTALL_LIBDIR ${CMAKE_INSTALL_LIBDIR})
  set(CMAKE_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
  set(file \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig/board_hal.pc\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${file}\")
  configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/cmake/board_hal.pc.in\" \"\$ENV{DESTDIR}\${file}\" @ONLY)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${file}\")")
