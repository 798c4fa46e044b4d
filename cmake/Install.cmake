# Installs the shared library, its public headers, a CMake package
# (find_package(kv_fluids_dyn CONFIG)) and a pkg-config file.

include(CMakePackageConfigHelpers)

install(TARGETS kv_fluids_dyn EXPORT kv_fluids_dyn-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Exactly the headers the layers declare public, each in its folder.
get_property(kv_public_headers GLOBAL PROPERTY KV_PUBLIC_HEADERS)
foreach(header IN LISTS kv_public_headers)
  file(RELATIVE_PATH relative ${PROJECT_SOURCE_DIR}/lib ${header})
  get_filename_component(relative_dir ${relative} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${relative_dir})
endforeach()

set(KV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kv_fluids_dyn)
install(EXPORT kv_fluids_dyn-targets
  NAMESPACE kv_fluids_dyn::
  DESTINATION ${KV_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kv_fluids_dyn-config.cmake.in
  ${PROJECT_BINARY_DIR}/kv_fluids_dyn-config.cmake
  INSTALL_DESTINATION ${KV_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kv_fluids_dyn-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/kv_fluids_dyn-config.cmake
  ${PROJECT_BINARY_DIR}/kv_fluids_dyn-config-version.cmake
  DESTINATION ${KV_CMAKE_DIR})

# The pkg-config file finds its prefix relative to its own folder, so an
# install into any prefix (cmake --install --prefix DIR) stays usable.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(KV_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH _kv_pc_up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" _kv_pc_up "${_kv_pc_up}")
  set(KV_PC_PREFIX "\${pcfiledir}/${_kv_pc_up}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kv_fluids_dyn.pc.in
  ${PROJECT_BINARY_DIR}/kv_fluids_dyn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kv_fluids_dyn.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
