# Where everything goes, by the GNU directories; the host's libraries and plug-ins in one of their own.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(plugin_dir ${CMAKE_INSTALL_LIBDIR}/mchost)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mchost)

# The programs and plug-ins find the host's library from where they are, wherever that is.
foreach(program mchost mcsh)
  set(directory ${CMAKE_INSTALL_SBINDIR})
  if(program STREQUAL mcsh)
    set(directory ${CMAKE_INSTALL_BINDIR})
  endif()
  file(RELATIVE_PATH to_libraries /${directory} /${plugin_dir})
  set_target_properties(${program} PROPERTIES INSTALL_RPATH $ORIGIN/${to_libraries})
  install(TARGETS ${program} RUNTIME DESTINATION ${directory} COMPONENT host)
endforeach()
set_target_properties(mcapp mcops mcpeer PROPERTIES INSTALL_RPATH $ORIGIN)
install(TARGETS mcapp mcops mcpeer LIBRARY DESTINATION ${plugin_dir} COMPONENT host)
install(TARGETS mchost_lib EXPORT mchost LIBRARY DESTINATION ${plugin_dir} COMPONENT host
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mchost COMPONENT plugins)
install(FILES etc/mc.toml DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/mc COMPONENT host)

# For who writes plug-ins.
install(TARGETS mchost_simulated EXPORT mchost
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT plugins
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mchost COMPONENT plugins)
install(EXPORT mchost NAMESPACE mchost:: DESTINATION ${package_dir} COMPONENT plugins
  FILE mchostTargets.cmake)
configure_package_config_file(cmake/mchostConfig.cmake.in mchostConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS plugin_dir)
write_basic_package_version_file(mchostConfigVersion.cmake COMPATIBILITY SameMinorVersion)
file(RELATIVE_PATH to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/mchost.pc.in mchost.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/mchostConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/mchostConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT plugins)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/mchost.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT plugins)
