# How every target of this project is compiled, and the functions that make a
# test, a benchmark or a fuzzer out of one source file.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(fairlead_peers)

set(fairlead_warnings
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Werror)

# Hardening of release builds: each flag is used where the compiler knows it.
set(fairlead_hardening_compile "")
set(fairlead_hardening_link "")
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
    string(MAKE_C_IDENTIFIER "FAIRLEAD_HAS_${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      list(APPEND fairlead_hardening_compile ${flag})
    endif()
  endforeach()
  check_cxx_compiler_flag("-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2" FAIRLEAD_HAS_FORTIFY)
  if(FAIRLEAD_HAS_FORTIFY)
    list(APPEND fairlead_hardening_compile -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  endif()
  foreach(flag relro now)
    check_linker_flag(CXX "-Wl,-z,${flag}" FAIRLEAD_HAS_LINK_${flag})
    if(FAIRLEAD_HAS_LINK_${flag})
      list(APPEND fairlead_hardening_link -Wl,-z,${flag})
    endif()
  endforeach()
endif()

# Position-independent programs, where the toolchain can link them.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# Applies warnings, hardening and visibility to one of our own targets.
#
# No unity builds: sources give helpers in their unnamed namespaces the same
# names, and some of AES are compiled for other instructions than the rest.
function(fairlead_compile_options target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    UNITY_BUILD OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(FAIRLEAD_DEVELOPER)
    target_compile_options(${target} PRIVATE ${fairlead_warnings})
  endif()
  target_compile_options(${target} PRIVATE ${fairlead_hardening_compile})
  target_link_options(${target} PRIVATE ${fairlead_hardening_link})
endfunction()

# fairlead_program(name [LIBRARIES library…])
#
# A program of one source, name.cc, linked with the library.
function(fairlead_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBRARIES")
  add_executable(${name} ${name}.cc)
  fairlead_compile_options(${name})
  target_link_libraries(${name} PRIVATE fairlead::fairlead ${arg_LIBRARIES})
endfunction()

# Tests are built often and run for a moment: they share GoogleTest's headers,
# compiled once, and are hardly optimised. What they test is, as ever.
function(fairlead_quick_to_build target)
  if(NOT TARGET fairlead_test_headers)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/test_headers.cc CONTENT "int main() {}\n")
    add_executable(fairlead_test_headers ${PROJECT_BINARY_DIR}/test_headers.cc)
    fairlead_compile_options(fairlead_test_headers)
    set_target_properties(fairlead_test_headers PROPERTIES CXX_VISIBILITY_PRESET default)
    target_compile_options(fairlead_test_headers PRIVATE -O1)
    target_link_libraries(fairlead_test_headers PRIVATE GTest::gmock Threads::Threads)
    target_precompile_headers(fairlead_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  endif()
  # Some put functions of their own in the place of the system's, and shared
  # libraries have to find these.
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET default)
  target_compile_options(${target} PRIVATE -O1)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # At -O1 g++ 12 warns of overflows in std::string that cannot be.
    target_compile_options(${target} PRIVATE
      -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow)
  endif()
  target_precompile_headers(${target} REUSE_FROM fairlead_test_headers)
endfunction()

# fairlead_test(name [LIBRARIES library…] [TIMEOUT seconds])
#
# name.cc as a GoogleTest program; every test in it is one of ctest's.
function(fairlead_test name)
  if(NOT FAIRLEAD_TESTS)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "LIBRARIES")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  find_package(GTest REQUIRED)
  include(GoogleTest)
  fairlead_program(${name} LIBRARIES GTest::gmock GTest::gtest_main ${arg_LIBRARIES})
  fairlead_quick_to_build(${name})
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT ${arg_TIMEOUT})
endfunction()

# fairlead_private_test(name …)
#
# A fairlead_test of functions that a shared library hides. It is left out where
# the library is one.
function(fairlead_private_test)
  if(NOT BUILD_SHARED_LIBS)
    fairlead_test(${ARGV})
  endif()
endfunction()

# fairlead_benchmark(name [LIBRARIES library…] [PEERS peer…])
#
# name.cc as a Google Benchmark program. A peer that is installed is linked and
# defines FAIRLEAD_PEER_<PEER>; one that is not is left out of the race.
function(fairlead_benchmark name)
  if(NOT FAIRLEAD_BENCHMARKS)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBRARIES;PEERS")
  find_package(benchmark REQUIRED)
  fairlead_program(${name} LIBRARIES fairlead_benchmark_main ${arg_LIBRARIES})
  foreach(peer IN LISTS arg_PEERS)
    fairlead_find_peer(${peer} found)
    if(found)
      string(TOUPPER FAIRLEAD_PEER_${peer} macro)
      target_compile_definitions(${name} PRIVATE ${macro})
      target_link_libraries(${name} PRIVATE ${found})
    else()
      message(STATUS "${name}: ${peer} is not installed and will not be raced")
    endif()
  endforeach()
endfunction()

# fairlead_fuzzer(name)
#
# name.cc as a libFuzzer program; its kept inputs stand in the folder
# name_corpus beside it.
function(fairlead_fuzzer name)
  if(NOT FAIRLEAD_FUZZERS)
    return()
  endif()
  fairlead_program(${name})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
endfunction()
