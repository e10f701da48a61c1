# What `cmake --install` installs, the files by which other projects find it, and
# the packages that CPack builds. Components:
#   runtime  the shared library, if it is one
#   dev      what programs are built with: headers, library, CMake and pkg-config files
#   tool     the command, its man page and its shell completions
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/fairlead)

install(TARGETS fairlead
  EXPORT fairlead
  ARCHIVE COMPONENT dev
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(EXPORT fairlead
  NAMESPACE fairlead::
  DESTINATION ${package_dir}
  COMPONENT dev)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/fairlead-config.cmake.in fairlead-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(fairlead-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/fairlead-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/fairlead-config-version.cmake
  DESTINATION ${package_dir}
  COMPONENT dev)

# The prefix is relative to the file, so that the tree can be moved.
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
  COMPONENT dev)

# Debian's zsh looks in vendor-completions instead.
set(FAIRLEAD_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
  CACHE STRING "Where zsh finds its completions")

if(FAIRLEAD_TOOL)
  set(documents ${PROJECT_BINARY_DIR}/tool)
  install(TARGETS fairlead_tool COMPONENT tool)
  install(FILES ${documents}/fairlead.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(FILES docs/exchange-events.schema.json
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)
  install(FILES ${documents}/completions/fairlead
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
  install(FILES ${documents}/completions/_fairlead
    DESTINATION ${FAIRLEAD_ZSH_COMPLETIONS} COMPONENT tool)
endif()

install(FILES README.md CHANGELOG.md LICENSE docs/cookbook.md docs/ini-format.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT dev)

set(CPACK_PACKAGE_VENDOR "the fairlead developers")
set(CPACK_PACKAGE_CONTACT "the fairlead developers <maintainers@fairlead.invalid>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_GENERATOR TGZ DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_FILE_NAME fairlead-${PROJECT_VERSION}-linux-x86_64)

# A package for the command, one for development, and one for the shared library
# if that is built.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME fairlead)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_DESCRIPTION
"The command fairlead sends a message to a TCP server and prints its replies,
edits INI files, timestamps and throttles log lines, converts codes, computes
checksums and encrypts data.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libfairlead-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_DESCRIPTION
"Headers and library for C++: command-line arguments, INI settings, a log, times,
bit strings, AES and RC4, name resolution and a TCP message client.")
if(BUILD_SHARED_LIBS)
  set(CPACK_COMPONENTS_ALL runtime dev tool)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libfairlead${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
else()
  set(CPACK_COMPONENTS_ALL dev tool)
endif()
include(CPack)
