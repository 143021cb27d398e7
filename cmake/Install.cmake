# Where everything goes, by the GNU directories; the host's libraries and plug-ins in one of their own.
include(GNUInstallDirs)
set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/mchost)
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
foreach(plugin mcapp mcops mcpeer mcweb)
  if(TARGET ${plugin}) # a small controller leaves some out
    set_target_properties(${plugin} PROPERTIES INSTALL_RPATH $ORIGIN)
    set(component host)
    if(plugin STREQUAL mcweb)
      set(component web)
    endif()
    install(TARGETS ${plugin} LIBRARY DESTINATION ${plugin_dir} COMPONENT ${component})
  endif()
endforeach()
install(TARGETS mchost_lib EXPORT mchost LIBRARY DESTINATION ${plugin_dir} COMPONENT host
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mchost COMPONENT plugins)
if(TARGET mcweb) # and who watches its metrics
  install(DIRECTORY etc/prometheus DESTINATION ${CMAKE_INSTALL_DATADIR}/mchost-web COMPONENT web)
endif()
install(FILES etc/installed.toml DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/mc RENAME mc.toml
  COMPONENT host)

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

# What people read: documents, manual pages made from them, examples; and what completes for them.
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT host FILES_MATCHING PATTERN *.md
  PATTERN decisions EXCLUDE)
install(FILES etc/mc.toml DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT host)
install(DIRECTORY etc/init.d DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT host
  USE_SOURCE_PERMISSIONS)
install(DIRECTORY example/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/plugin COMPONENT plugins)
install(FILES etc/completion/mchost etc/completion/mcsh etc/completion/mclab
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT host)
find_program(LOWDOWN lowdown)
if(LOWDOWN)
  set(manual ${CMAKE_CURRENT_BINARY_DIR}/manual)
  file(GLOB documents CONFIGURE_DEPENDS docs/*.md)
  add_custom_command(OUTPUT ${manual}/mchost.8 COMMAND docs/manual ${manual}
    DEPENDS docs/manual ${documents} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  add_custom_target(manual ALL DEPENDS ${manual}/mchost.8)
  foreach(page mchost.8 mcsh.1 mc.toml.5 mc-init.7 mclab.1)
    string(REGEX MATCH "[0-9]$" section ${page})
    install(FILES ${manual}/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT host)
  endforeach()
endif()
