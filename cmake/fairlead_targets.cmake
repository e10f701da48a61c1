# How every target of this project is compiled, and the functions that create
# tests, benchmarks and fuzzers, each from one source file.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)
include(fairlead_peers)

set(fairlead_warnings -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
  "$<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier;-Wno-reserved-macro-identifier>")

# Hardening of optimised builds, with the flags that the toolchain supports. They
# are added to the builder's flags and never replace them.
set(fairlead_hardening_compile "")
set(fairlead_hardening_link "")
if(FAIRLEAD_HARDENING)
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
    string(MAKE_C_IDENTIFIER "FAIRLEAD_HAS_${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      list(APPEND fairlead_hardening_compile ${flag})
    endif()
  endforeach()

  # The highest level of _FORTIFY_SOURCE that works, unless the builder or the
  # compiler has set one.
  set(CMAKE_REQUIRED_FLAGS -O2)
  foreach(level 3 2)
    check_cxx_source_compiles("
      #ifdef _FORTIFY_SOURCE
      #error already set
      #endif
      #define _FORTIFY_SOURCE ${level}
      #include <features.h>
      #if __USE_FORTIFY_LEVEL != ${level}
      #error lowered by the system library
      #endif
      int main() {}" FAIRLEAD_HAS_FORTIFY_${level})
    if(FAIRLEAD_HAS_FORTIFY_${level})
      list(APPEND fairlead_hardening_compile -D_FORTIFY_SOURCE=${level})
      break()
    endif()
  endforeach()
  unset(CMAKE_REQUIRED_FLAGS)

  foreach(flag relro now)
    check_linker_flag(CXX "-Wl,-z,${flag}" FAIRLEAD_HAS_LINK_${flag})
    if(FAIRLEAD_HAS_LINK_${flag})
      list(APPEND fairlead_hardening_link -Wl,-z,${flag})
    endif()
  endforeach()
endif()
set(fairlead_is_optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")

# Position-independent programs, if the toolchain can link them.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# Applies warnings, hardening and visibility to one of our targets.
#
# With FAIRLEAD_UNITY several sources are compiled at once, in less time.
function(fairlead_compile_options target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    UNITY_BUILD ${FAIRLEAD_UNITY}
    UNITY_BUILD_BATCH_SIZE ${FAIRLEAD_UNITY_SIZE}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(FAIRLEAD_DEVELOPER)
    target_compile_options(${target} PRIVATE ${fairlead_warnings} -Werror)
    target_compile_definitions(${target} PRIVATE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
  endif()
  target_compile_options(${target} PRIVATE
    "$<${fairlead_is_optimised}:${fairlead_hardening_compile}>")
  target_link_options(${target} PRIVATE
    "$<${fairlead_is_optimised}:${fairlead_hardening_link}>")
endfunction()

# Precompiles the headers of the standard library that most sources include, where
# several sources are compiled at once.
function(fairlead_precompile_standard_headers target)
  if(FAIRLEAD_UNITY)
    target_precompile_headers(${target} PRIVATE
      <algorithm> <array> <chrono> <cstdint> <filesystem> <functional> <memory>
      <optional> <span> <string> <string_view> <system_error> <utility> <vector>)
  endif()
endfunction()

# Adds a program whose precompiled headers others share.
function(fairlead_headers_program name)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/headers.cc CONTENT "int main() {}\n")
  add_executable(${name} ${PROJECT_BINARY_DIR}/headers.cc)
  fairlead_compile_options(${name})
endfunction()

# fairlead_program(name [PRIVATE_PARTS] [LIBRARIES library…] [SOURCES source…])
#
# A program of one source, name.cc, or of those given, linked with the library; with
# PRIVATE_PARTS, or with parts of the tool, with fairlead_whole.
function(fairlead_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "PRIVATE_PARTS" "" "LIBRARIES;SOURCES")
  if(NOT arg_SOURCES)
    set(arg_SOURCES ${name}.cc)
  endif()
  add_executable(${name} ${arg_SOURCES})
  fairlead_compile_options(${name})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES})
  if(arg_PRIVATE_PARTS)
    target_link_libraries(${name} PRIVATE fairlead_whole)
  elseif(NOT arg_LIBRARIES MATCHES "fairlead_tool")
    target_link_libraries(${name} PRIVATE fairlead::fairlead)
  endif()
endfunction()

# fairlead_compile_with(target [compiler])
#
# Compiles the sources of the target with the compiler, if one is given, which has
# the flags and the binary interface of the project's own.
function(fairlead_compile_with target)
  if(ARGC GREATER 1)
    set_target_properties(${target} PROPERTIES CXX_COMPILER_LAUNCHER
      "${PROJECT_SOURCE_DIR}/cmake/compile_with.sh;${ARGV1};${CMAKE_CXX_COMPILER_LAUNCHER};--")
  endif()
endfunction()

# Tests are built often and run briefly: they share GoogleTest's precompiled
# headers and are not optimised, nor fortified: some replace functions of the system
# that fortified headers define. The library under test is compiled as always; the
# tests of it by FAIRLEAD_TEST_COMPILER, if there is one.
function(fairlead_quick_to_build target)
  set(quick -O0 -U_FORTIFY_SOURCE)
  if(FAIRLEAD_FUZZERS)
    # Tests do not tell a fuzzer where they went.
    list(APPEND quick -fno-sanitize=fuzzer-no-link)
  endif()
  if(NOT TARGET fairlead_test_headers)
    check_linker_flag(CXX -fuse-ld=lld FAIRLEAD_HAS_LLD)
    fairlead_headers_program(fairlead_test_headers)
    set_target_properties(fairlead_test_headers PROPERTIES CXX_VISIBILITY_PRESET default)
    target_compile_options(fairlead_test_headers PRIVATE ${quick})
    if(FAIRLEAD_TEST_COMPILER MATCHES clang)
      target_compile_options(fairlead_test_headers PRIVATE -fpch-instantiate-templates)
    endif()
    fairlead_compile_with(fairlead_test_headers ${FAIRLEAD_TEST_COMPILER})
    target_link_libraries(fairlead_test_headers PRIVATE GTest::gmock Threads::Threads)
    target_precompile_headers(fairlead_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  endif()
  # Some tests replace functions of the system, also for shared libraries.
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET default)
  target_compile_options(${target} PRIVATE ${quick})
  fairlead_compile_with(${target} ${FAIRLEAD_TEST_COMPILER})
  # Links in less than half of the time.
  if(FAIRLEAD_HAS_LLD)
    target_link_options(${target} PRIVATE -fuse-ld=lld)
  endif()
  target_precompile_headers(${target} REUSE_FROM fairlead_test_headers)
endfunction()

# fairlead_test(name [PRIVATE_PARTS] [OPTIMIZED] [COMMAND] [LIBRARIES library…]
#   [LABELS label…] [TIMEOUT seconds] [NEEDS library…] [SOURCES source…])
#
# name.cc as a GoogleTest program. Every test in it is one of ctest's; with a
# sanitizer or counters of coverage, all of them together are one.
# SOURCES, given instead of name.cc, are compiled together, in a third of the time:
# the code that headers make is made once. Each source has a namespace of its own.
# A source that replaces functions of the system is a program of its own.
# Labels:
#   quick    all of them together take less than half a minute on two cores; the
#            default without COMMAND
#   slow     those that take long
#   faults   a system call of the tool fails, or it is killed there, under strace
#   threads  run several threads; the target fairlead_thread_tests builds them
#            for the thread sanitizer
#   command  those with COMMAND
# COMMAND is for tests that run the command fairlead, the one that the environment
# variable FAIRLEAD_PROGRAM names. A build with a sanitizer leaves them out: those
# of another build test its command.
# OPTIMIZED is for a test whose own code computes for seconds.
# A test that NEEDS Package::Component is left out, with a notice, if CMake does
# not find the package.
function(fairlead_test name)
  if(NOT FAIRLEAD_TESTS)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg
    "PRIVATE_PARTS;OPTIMIZED;COMMAND" "TIMEOUT" "LIBRARIES;LABELS;NEEDS;SOURCES")
  foreach(library IN LISTS arg_NEEDS)
    string(REGEX REPLACE "::.*" "" package ${library})
    find_package(${package} QUIET)
    if(NOT TARGET ${library})
      message(STATUS "${name}: ${package} is not installed; the test is left out")
      return()
    endif()
  endforeach()
  set(is_sanitized OFF)
  if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
    set(is_sanitized ON)
  endif()
  set(is_instrumented ${is_sanitized})
  if(CMAKE_CXX_FLAGS MATCHES "-fprofile-instr-generate")
    set(is_instrumented ON)
  endif()
  if(is_sanitized AND "faults" IN_LIST arg_LABELS)
    return()  # The calls of the sanitizer would fail too.
  endif()
  if(arg_COMMAND)
    if(is_sanitized)
      return()
    endif()
    list(APPEND arg_LIBRARIES fairlead_tool_testing)
    list(PREPEND arg_LABELS command)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  if(NOT arg_COMMAND AND NOT arg_LABELS MATCHES "slow|faults")
    list(APPEND arg_LABELS quick)
  endif()
  find_package(GTest REQUIRED)
  include(GoogleTest)
  if(arg_PRIVATE_PARTS)
    set(private_parts PRIVATE_PARTS)
  endif()
  fairlead_program(${name} ${private_parts}
    LIBRARIES GTest::gmock GTest::gtest_main ${arg_LIBRARIES} ${arg_NEEDS}
    SOURCES ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  if(NOT arg_OPTIMIZED)
    fairlead_quick_to_build(${name})
  endif()
  # One label, which the expressions of ctest's -L and -LE search: of a list,
  # gtest_discover_tests sets the first alone.
  list(JOIN arg_LABELS "," labels)
  if(is_instrumented)
    # A program with a sanitizer takes longer to start than most tests take.
    math(EXPR arg_TIMEOUT "5 * ${arg_TIMEOUT}")
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${labels}")
  else()
    gtest_discover_tests(${name}
      DISCOVERY_MODE PRE_TEST
      PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${labels}")
  endif()
  if(threads IN_LIST arg_LABELS)
    add_dependencies(fairlead_thread_tests ${name})
  endif()
endfunction()

# fairlead_benchmark(name [LIBRARIES library…] [PEERS peer…])
#
# name.cc as a Google Benchmark program. A peer that is installed is linked and
# defines FAIRLEAD_PEER_<PEER>; one that is not is left out of the benchmark.
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
      message(STATUS "${name}: ${peer} is not installed and will not be measured")
    endif()
  endforeach()
endfunction()

# fairlead_fuzzer(name [LIBRARIES library…])
#
# name.cc as a fuzzer; its corpus is in the folder name_corpus. name.dict has its
# dictionary, and name.options options of libFuzzer, if there are such files. With
# FAIRLEAD_FUZZERS it is linked with FAIRLEAD_FUZZING_ENGINE. In these builds and in
# the debug ones a test replays the corpus.
function(fairlead_fuzzer name)
  if(FAIRLEAD_TESTS AND CMAKE_BUILD_TYPE STREQUAL "Debug")
    set(has_test ON)
  elseif(NOT FAIRLEAD_FUZZERS)
    return()
  endif()
  fairlead_program(${name} PRIVATE_PARTS ${ARGN})
  if(FAIRLEAD_FUZZERS AND FAIRLEAD_UNITY)
    if(NOT TARGET fairlead_fuzzer_headers)
      fairlead_headers_program(fairlead_fuzzer_headers)
      fairlead_precompile_standard_headers(fairlead_fuzzer_headers)
    endif()
    target_precompile_headers(${name} REUSE_FROM fairlead_fuzzer_headers)
  endif()
  set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
  set(corpus ${CMAKE_CURRENT_SOURCE_DIR}/${name}_corpus)
  if(FAIRLEAD_FUZZERS)
    target_link_options(${name} PRIVATE ${FAIRLEAD_FUZZING_ENGINE})
    if(NOT TARGET fairlead_fuzzers)
      add_custom_target(fairlead_fuzzers)
    endif()
    add_dependencies(fairlead_fuzzers ${name})
    set(replay -runs=0 ${corpus})
  else()
    target_compile_options(${name} PRIVATE -O0 -U_FORTIFY_SOURCE)
    target_link_libraries(${name} PRIVATE fairlead_replay_inputs)
    set(replay ${corpus})
  endif()
  if(has_test)
    add_test(NAME ${name} COMMAND ${name} ${replay})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300 LABELS quick)
  endif()
endfunction()
