# What a host of the module finds it and its headers by: a CMake package and a file for pkg-config, both
# relocatable.
include(CMakePackageConfigHelpers)

set(module_name libbackblazeb2${CMAKE_SHARED_LIBRARY_SUFFIX}.3)
if(APPLE)
  set(module_name libbackblazeb2.3${CMAKE_SHARED_LIBRARY_SUFFIX})
endif()
set(B2_MODULE_FILE ${CMAKE_INSTALL_LIBDIR}/${module_name})
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/backblazeb2)
set(pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pc_folder} OUTPUT_VARIABLE B2_PREFIX_FROM_PC)

configure_package_config_file(packaging/backblazeb2Config.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/backblazeb2Config.cmake
  INSTALL_DESTINATION ${package_folder} PATH_VARS B2_MODULE_FILE)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/backblazeb2ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
configure_file(packaging/backblazeb2.pc.in ${PROJECT_BINARY_DIR}/packaging/backblazeb2.pc @ONLY)

install(EXPORT backblazeb2 NAMESPACE backblazeb2:: FILE backblazeb2Targets.cmake
  DESTINATION ${package_folder} COMPONENT headers)
install(FILES
    ${PROJECT_BINARY_DIR}/packaging/backblazeb2Config.cmake
    ${PROJECT_BINARY_DIR}/packaging/backblazeb2ConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT headers)
install(FILES ${PROJECT_BINARY_DIR}/packaging/backblazeb2.pc
  DESTINATION ${pc_folder} COMPONENT headers)
