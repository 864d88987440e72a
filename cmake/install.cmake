include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tovik_ftp_bridge)

foreach(kind IN ITEMS static shared)
  foreach(namespace IN ITEMS qk tovik)
    install(EXPORT ${namespace}_${kind} NAMESPACE ${namespace}:: FILE ${namespace}-${kind}.cmake
      DESTINATION ${package_dir} COMPONENT development)
  endforeach()
endforeach()
# Before 1.0 each minor version may break the API.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tovik_ftp_bridge-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_SOURCE_DIR}/cmake/tovik_ftp_bridge-config.cmake
  ${PROJECT_BINARY_DIR}/tovik_ftp_bridge-config-version.cmake
  DESTINATION ${package_dir} COMPONENT development)

# The .pc file refers to the prefix relative to its own folder, so that an installed tree can be moved, unless a folder
# was given as an absolute path.
cmake_path(IS_ABSOLUTE CMAKE_INSTALL_LIBDIR libdir_is_absolute)
if(libdir_is_absolute)
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
  set(pc_libdir ${CMAKE_INSTALL_LIBDIR})
else()
  cmake_path(SET from NORMALIZE /${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  cmake_path(RELATIVE_PATH from BASE_DIRECTORY / OUTPUT_VARIABLE down)
  string(REGEX REPLACE "[^/]+" ".." up ${down})
  set(pc_prefix "\${pcfiledir}/${up}")
  set(pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
cmake_path(IS_ABSOLUTE CMAKE_INSTALL_INCLUDEDIR includedir_is_absolute)
if(includedir_is_absolute)
  set(pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
else()
  set(pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/tovik_ftp_bridge.pc.in ${PROJECT_BINARY_DIR}/tovik_ftp_bridge.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tovik_ftp_bridge.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(TOVIK_BUILD_TOOLS)
  install(TARGETS ftp_fetch ftp_serve RUNTIME COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/man/ftp_fetch.1 ${PROJECT_SOURCE_DIR}/tools/man/ftp_serve.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/completions/ftp_fetch
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
endif()
