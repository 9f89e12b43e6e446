# What is installed, in components: runtime (the shared library), development (header, static library, pkg-config file,
# CMake package) and tool (program, man page, completions). The target uninstall removes what was installed last.
install(TARGETS tavi_ffdc tavi_ffdc_static EXPORT tavi_ffdc
  LIBRARY COMPONENT runtime
  ARCHIVE COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/tavi_ffdc.h TYPE INCLUDE COMPONENT development)

# Both find the library wherever they stand, so that the prefix may still change when it is installed.
set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tavi_ffdc)
install(EXPORT tavi_ffdc FILE tavi_ffdc-config.cmake NAMESPACE tavi_ffdc::
  DESTINATION ${config_dir} COMPONENT development)
include(CMakePackageConfigHelpers)
write_basic_package_version_file(tavi_ffdc-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tavi_ffdc-config-version.cmake
  DESTINATION ${config_dir} COMPONENT development)

file(RELATIVE_PATH to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/tavi_ffdc.pc.in tavi_ffdc.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tavi_ffdc.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(TARGET ffdc)
  file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(ffdc PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
  install(TARGETS ffdc COMPONENT tool)
  set(made ${CMAKE_CURRENT_BINARY_DIR}/tools/ffdc)
  install(FILES ${made}/ffdc.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(FILES ${made}/ffdc.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ffdc COMPONENT tool)
  # Debian's zsh looks there for what the system brings, and here for what its administrator does.
  set(zsh_dir zsh/site-functions)
  if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
    set(zsh_dir zsh/vendor-completions)
  endif()
  install(FILES ${made}/_ffdc DESTINATION ${CMAKE_INSTALL_DATADIR}/${zsh_dir} COMPONENT tool)
  install(FILES ${made}/ffdc.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)
  # The page into which `ffdc html` puts dumps. The preset wasm builds it; where that was not done, it is left out.
  set(FFDC_VIEWER ${PROJECT_SOURCE_DIR}/build/wasm/viewer/ffdc-viewer.html CACHE FILEPATH "the viewer's page")
  install(FILES ${FFDC_VIEWER} DESTINATION ${CMAKE_INSTALL_DATADIR}/ffdc COMPONENT tool OPTIONAL)
endif()

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR} VERBATIM)
endif()
