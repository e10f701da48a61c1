# What `cmake --install` puts where, the files by which others find us, and the
# packages that CPack makes of it.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/fairlead)

install(TARGETS fairlead
  EXPORT fairlead
  COMPONENT library
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT fairlead
  NAMESPACE fairlead::
  DESTINATION ${package_dir}
  COMPONENT library)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/fairlead-config.cmake.in fairlead-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(fairlead-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/fairlead-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/fairlead-config-version.cmake
  DESTINATION ${package_dir}
  COMPONENT library)

# The prefix is told relative to the file, so that the tree may be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pkgconfig_to_prefix /${pkgconfig_dir} /)
get_target_property(library_type fairlead TYPE)
set(pkgconfig_static "")
if(library_type STREQUAL STATIC_LIBRARY)
  set(pkgconfig_static " -DFAIRLEAD_STATIC")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/fairlead.pc.in fairlead.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fairlead.pc
  DESTINATION ${pkgconfig_dir}
  COMPONENT library)

if(FAIRLEAD_TOOL)
  set(documents ${PROJECT_BINARY_DIR}/tool)
  install(TARGETS fairlead_tool COMPONENT tool)
  install(FILES ${documents}/fairlead.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(FILES ${documents}/completions/fairlead
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
  install(FILES ${documents}/completions/_fairlead
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT tool)
endif()

install(FILES README.md CHANGELOG.md LICENSE
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT library)

set(CPACK_PACKAGE_VENDOR "the fairlead developers")
set(CPACK_PACKAGE_CONTACT "the fairlead developers <maintainers@fairlead.invalid>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_GENERATOR TGZ DEB)
set(CPACK_PACKAGE_FILE_NAME fairlead-${PROJECT_VERSION}-linux-x86_64)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
include(CPack)
