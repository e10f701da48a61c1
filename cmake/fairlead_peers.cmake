# Where the benchmarks' peers are found. None of them is needed to build.

# By a pkg-config module of its own:
set(fairlead_peer_module_absl_strings absl_strings)
set(fairlead_peer_module_absl_time absl_time)
set(fairlead_peer_module_fmt fmt)
set(fairlead_peer_module_glib glib-2.0)
set(fairlead_peer_module_inih inih)
set(fairlead_peer_module_simpleini simpleini)
set(fairlead_peer_module_spdlog spdlog)

# By a header, followed by the library to link where there is one:
set(fairlead_peer_header_asio asio.hpp)
set(fairlead_peer_header_boost_program_options boost/program_options.hpp boost_program_options)
set(fairlead_peer_header_boost_property_tree boost/property_tree/ini_parser.hpp)
set(fairlead_peer_header_cli11 CLI/CLI.hpp)
set(fairlead_peer_header_cxxopts cxxopts.hpp)
set(fairlead_peer_header_iniparser iniparser/iniparser.h iniparser)
set(fairlead_peer_header_tclap tclap/CmdLine.h)

# fairlead_find_peer(peer result)
#
# Sets `result` to a library target of the peer, or to "" where it is not
# installed.
function(fairlead_find_peer peer result)
  set(${result} "" PARENT_SCOPE)
  if(DEFINED fairlead_peer_module_${peer})
    find_package(PkgConfig QUIET)
    if(NOT PKG_CONFIG_FOUND)
      return()
    endif()
    pkg_check_modules(peer_${peer} QUIET IMPORTED_TARGET GLOBAL ${fairlead_peer_module_${peer}})
    if(peer_${peer}_FOUND)
      set(${result} PkgConfig::peer_${peer} PARENT_SCOPE)
    endif()
    return()
  endif()

  if(NOT DEFINED fairlead_peer_header_${peer})
    message(FATAL_ERROR "No benchmark peer is called ${peer}")
  endif()
  list(POP_FRONT fairlead_peer_header_${peer} header)
  find_path(fairlead_peer_${peer}_include ${header})
  mark_as_advanced(fairlead_peer_${peer}_include)
  if(fairlead_peer_${peer}_include)
    if(NOT TARGET fairlead_peer_${peer})
      add_library(fairlead_peer_${peer} INTERFACE)
      target_link_libraries(fairlead_peer_${peer} INTERFACE ${fairlead_peer_header_${peer}})
    endif()
    set(${result} fairlead_peer_${peer} PARENT_SCOPE)
  endif()
endfunction()
