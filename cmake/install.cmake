# Install rules and packages. Components: runtime (the library and the factory root), dev
# (headers, pkg-config, CMake package) and tools (falctl, fald and its systemd unit).
include(CMakePackageConfigHelpers)

install(TARGETS fal EXPORT libfalTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

# Headers keep the tree's layout under include/fal/ ("frame/X.h", "host/X.h", "gateway/X.h").
install(FILES ${PROJECT_SOURCE_DIR}/include/fal/fal.h
  ${FAL_GENERATED_INCLUDE}/fal/FalVersion.h ${FAL_GENERATED_INCLUDE}/fal/FalMsgIds.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/fal COMPONENT dev)
foreach(dir ${FAL_SOURCE_DIRS})
  if(IS_DIRECTORY ${PROJECT_SOURCE_DIR}/${dir})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${dir}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/fal/${dir}
      COMPONENT dev FILES_MATCHING PATTERN "*.h")
  endif()
endforeach()

# pkg-config: relocatable, found from the .pc file's own directory.
file(RELATIVE_PATH FAL_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" FAL_PC_TO_PREFIX "${FAL_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/libfal.pc.in ${PROJECT_BINARY_DIR}/libfal.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/libfal.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# CMake: find_package(libfal) gives libfal::fal.
set(FAL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/libfal)
install(EXPORT libfalTargets NAMESPACE libfal:: DESTINATION ${FAL_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/libfalConfig.cmake.in
  ${PROJECT_BINARY_DIR}/libfalConfig.cmake INSTALL_DESTINATION ${FAL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/libfalConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/libfalConfig.cmake ${PROJECT_BINARY_DIR}/libfalConfigVersion.cmake
  DESTINATION ${FAL_CMAKE_DIR} COMPONENT dev)

# The factory-default root (the library carries the same files compiled in) with its www/.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/defaults/ DESTINATION ${CMAKE_INSTALL_DATADIR}/libfal/factory-root
  COMPONENT runtime)
install(DIRECTORY DESTINATION ${CMAKE_INSTALL_DATADIR}/libfal/factory-root/www/files COMPONENT runtime)

# Debian packages: cpack -G DEB in the build directory.
set(CPACK_PACKAGE_NAME libfal)
set(CPACK_PACKAGE_VENDOR "libfal")
set(CPACK_PACKAGE_CONTACT "libfal maintainers <libfal@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# falctl and fald find libfal.so.1 of the runtime package here while their dependencies are worked out.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libfal${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libfal-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libjson-c-dev")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME fal-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "libfal: the gateway management library\n The shared library and the factory-default gateway root.")
set(CPACK_COMPONENT_DEV_DESCRIPTION "libfal: development files\n Headers (#include <fal/fal.h>), pkg-config file and CMake package.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "libfal: falctl and the fald REST daemon\n The command-line host, the REST daemon and an example systemd unit.")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
if(CMAKE_CROSSCOMPILING AND FAL_DEB_ARCH)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${FAL_DEB_ARCH})
endif()
include(CPack)
