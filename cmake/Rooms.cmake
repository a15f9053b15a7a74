# A room is one folder under src/: its sources make the library kvwmi_<name>, save a main.cpp, which is a program's, and
# the *_test.cpp beside them the test program <name>_test, run as one test. New files are picked up by themselves.

if(NOT KVWMI_TESTS)
  # nothing to find
elseif(CMAKE_CROSSCOMPILING)
  # Debian ships GoogleTest for Linux only; its sources build for Windows.
  set(INSTALL_GTEST OFF)
  set(gtest_disable_pthreads OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  foreach(target gtest gtest_main gmock gmock_main)
    target_compile_options(${target} PRIVATE -w)
  endforeach()
else()
  find_package(GTest REQUIRED)
endif()

# Tests are compiled without optimisation: what they time, they time in the rooms, and compiling them is most of a build.
set(test_optimisation -O0)
if(NOT KVWMI_SANITIZE)
  list(APPEND test_optimisation -g0) # places in the source are for the reports of sanitizers
endif()

# The headers that take longest, read once for the rooms of a build, once for its test programs, and once for libraries
# that serve tests alone. Not in every build: where a file relies on another's includes, linux-release and mingw-x86 show.
file(WRITE ${CMAKE_BINARY_DIR}/precompiled.cpp "")
set(standard_headers <algorithm> <chrono> <functional> <map> <memory> <optional> <string> <string_view> <variant>
                     <vector>)
if(KVWMI_SANITIZE OR (WIN32 AND CMAKE_SIZEOF_VOID_P EQUAL 8))
  add_library(kvwmi_headers OBJECT EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/precompiled.cpp)
  target_precompile_headers(kvwmi_headers PRIVATE ${standard_headers})
endif()
if(WIN32)
  add_library(kvwmi_plain_headers OBJECT EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/precompiled.cpp)
  target_compile_options(kvwmi_plain_headers PRIVATE ${test_optimisation})
  target_precompile_headers(kvwmi_plain_headers PRIVATE ${standard_headers})
endif()
if(KVWMI_TESTS)
  add_executable(kvwmi_test_headers EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/precompiled.cpp)
  target_link_libraries(kvwmi_test_headers PRIVATE GTest::gmock_main)
  target_compile_options(kvwmi_test_headers PRIVATE ${test_optimisation})
  target_precompile_headers(kvwmi_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> ${standard_headers})
endif()

# kvwmi_precompiled(TARGET HEADERS)
function(kvwmi_precompiled target headers)
  if(TARGET ${headers})
    target_precompile_headers(${target} REUSE_FROM ${headers})
  endif()
endfunction()

# kvwmi_for_tests_only(TARGET): a library that is not delivered is compiled as its tests are.
function(kvwmi_for_tests_only target)
  target_compile_options(${target} PRIVATE ${test_optimisation})
  kvwmi_precompiled(${target} kvwmi_plain_headers)
endfunction()

# Test programs for Windows are linked by lld: the time of GNU ld grows with the square of a program's sections, 17 s for
# the largest, where lld takes a tenth of a second. What is delivered is linked by GNU ld.
if(WIN32)
  set(test_linker -wrapper ${CMAKE_SOURCE_DIR}/tools/link_with_lld -fno-use-linker-plugin)
endif()

# kvwmi_tests_of(LABEL target...) makes the targets part of what the target LABEL_tests builds.
function(kvwmi_tests_of label)
  if(NOT TARGET ${label}_tests)
    add_custom_target(${label}_tests)
  endif()
  add_dependencies(${label}_tests ${ARGN})
endfunction()

# kvwmi_test(NAME sources... [LIBS libraries...] [LABEL kind] [WRAPPER command...])
# The label is the kind of tests that it belongs to (tools/kinds), `unit` unless told; the wrapper is a command that
# is given the program and its arguments.
function(kvwmi_test name)
  cmake_parse_arguments(arg "" "LABEL" "LIBS;WRAPPER" ${ARGN})
  if(NOT arg_LABEL)
    set(arg_LABEL unit)
  endif()
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock_main)
  target_compile_options(${name} PRIVATE ${test_optimisation})
  target_link_options(${name} PRIVATE ${test_linker})
  kvwmi_precompiled(${name} kvwmi_test_headers)
  kvwmi_tests_of(${arg_LABEL} ${name})
  # A relative report, for under Wine an absolute path would want a drive.
  set(program ${name})
  if(arg_WRAPPER)
    set(program ${arg_WRAPPER} $<TARGET_FILE:${name}>)
  endif()
  add_test(NAME ${name} COMMAND ${program} --gtest_brief=1 --gtest_output=xml:results/${name}.xml
           WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 SKIP_RETURN_CODE 77 LABELS ${arg_LABEL})
endfunction()

# Tests of rooms that stand on no real ground get a fake one as the local machine's, and a fake message loop. It comes
# last in each link, so that it serves only where nothing else does.
add_library(kvwmi_fake_ground STATIC EXCLUDE_FROM_ALL
            ${CMAKE_SOURCE_DIR}/src/frame/testing/local_ground.cpp
            ${CMAKE_SOURCE_DIR}/src/frame/testing/local_loop.cpp)
target_link_libraries(kvwmi_fake_ground PUBLIC kvwmi_frame)

# Allocation functions that fail where a test says so, for test programs that name it among their TEST_LIBS.
add_library(kvwmi_failing_allocation OBJECT EXCLUDE_FROM_ALL
            ${CMAKE_SOURCE_DIR}/src/frame/testing/failing_allocation.cpp)
target_link_libraries(kvwmi_failing_allocation PUBLIC kvwmi_frame)
if(KVWMI_TESTS)
  target_link_libraries(kvwmi_failing_allocation PUBLIC GTest::gtest)
endif()

# kvwmi_room(NAME [SOURCES patterns...] [DEPENDS rooms...] [LIBS libraries...] [TEST_LIBS libraries...])
# Where folders below the room's are rooms of their own, SOURCES says which files are the room's.
function(kvwmi_room name)
  cmake_parse_arguments(arg "" "" "SOURCES;DEPENDS;LIBS;TEST_LIBS" ${ARGN})
  if(NOT arg_SOURCES)
    set(arg_SOURCES *.cpp)
  endif()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${arg_SOURCES})
  set(tests ${sources})
  list(FILTER sources EXCLUDE REGEX "_test\\.cpp$|/main\\.cpp$|/testing/.*\\.cpp$")
  list(FILTER tests INCLUDE REGEX "_test\\.cpp$")

  add_library(kvwmi_${name} STATIC ${sources})
  target_include_directories(kvwmi_${name} PUBLIC ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/src)
  list(TRANSFORM arg_DEPENDS PREPEND kvwmi_)
  target_link_libraries(kvwmi_${name} PUBLIC ${arg_DEPENDS} ${arg_LIBS})
  kvwmi_precompiled(kvwmi_${name} kvwmi_headers)
  if(tests AND KVWMI_TESTS)
    kvwmi_test(${name}_test ${tests} LIBS kvwmi_${name} ${arg_TEST_LIBS} kvwmi_fake_ground)
  endif()
endfunction()
