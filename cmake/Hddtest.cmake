# What every folder's CMakeLists.txt builds with: compiler settings, output places,
# dependency look-up, and four functions:
#
#   hddtest_library(TARGET SOURCES... [LINK targets...] [VERSION_SCRIPT file] [PLUGIN])   a shared library
#   hddtest_objects(TARGET SOURCES... [LINK targets...])                         objects for a library and its tests
#   hddtest_test(NAME SOURCES... [LINK targets...] [LABELS label] [ENVIRONMENT VARIABLE=value...]
#                [RECORDED VARIABLE] [SHARDS number] [COST seconds])         a GoogleTest program
#   hddtest_script_test(NAME script [arguments...] [PROPERTIES ...])   a test in Python of what is not compiled
#
# A PLUGIN is a library that object managers load; it is installed where they look for providers,
# the others in a folder of their own. A test program is one test of ctest, and tools/summary.py counts
# its cases: a process for each case would take longer than most cases do. SHARDS divides the cases of a
# program that waits long into that many tests, which run side by side. Tests
# of a high COST start first. RECORDED names the environment variable that says where recorded data is;
# without that variable the program is built, but is no test. Each test has a /tmp of its own.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

# The build tree has the shape of an installed one, so that programs find their data,
# libraries and helpers in both by the same relative paths.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/archive)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(HDDTEST_LIBEXEC_DIR ${CMAKE_BINARY_DIR}/libexec)
set(HDDTEST_DATA_DIR ${CMAKE_BINARY_DIR}/share)
# In front of the command of a test that reaches the scratch file.
set(HDDTEST_OWN_TMP ${CMAKE_SOURCE_DIR}/tests/own_tmp.sh ${CMAKE_SOURCE_DIR})
set(HDDTEST_TEST_DIR ${CMAKE_BINARY_DIR}/test)
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)

# Places of an installed tree, relative to the prefix.
include(GNUInstallDirs)
set(HDDTEST_PLUGIN_PLACE ${CMAKE_INSTALL_LIBDIR}/cmpi)
set(HDDTEST_LIBRARY_PLACE ${CMAKE_INSTALL_LIBDIR}/hddtest)

set(HDDTEST_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread")
option(HDDTEST_UNITY "Compile several units of a target as one (cmake/Unity.cmake)" OFF)
option(HDDTEST_FUZZ "Build for the fuzz targets, which then search for inputs by themselves (clang)" OFF)

add_compile_options(-Wall -Wextra -Werror)
# gcc 13 and newer warn that a returned reference dangles whenever an argument was temporary, such as
# the name that something is looked up by.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 13)
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-dangling-reference>)
endif()
# Else gcc walks all that it has read, such as a precompiled header, each time that it looks for memory to use
# again: a twentieth of the time that it takes.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options(--param=ggc-min-heapsize=524288)
endif()
include_directories(${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
if(HDDTEST_SANITIZE)
  # To optimise the checks at -O1 takes a third of the build, which is more than the tests gain by it.
  add_compile_options(-fsanitize=${HDDTEST_SANITIZE} -fno-omit-frame-pointer -Og -g1)
  add_link_options(-fsanitize=${HDDTEST_SANITIZE})
  # What undefined behaviour is told by are a million addresses in the program's data. Were the program to
  # lie anywhere in memory, each start would set all of them: half of what a start costs.
  if(HDDTEST_SANITIZE MATCHES undefined)
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
  endif()
  # The code that this sanitizer adds hides from gcc that a value is set before it is used. The other
  # builds keep the warning.
  if(HDDTEST_SANITIZE STREQUAL thread AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  if(HDDTEST_SANITIZE MATCHES undefined)
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

# Debian builds its programs with these options. They are set here, and not for the packages alone, so
# that what is packaged has been tested. Sanitized builds do without: a sanitizer finds more. Debug
# builds do without: the checked functions of the C library need an optimised build. Sources and build
# tree are named by relative paths, so that the bytes do not depend on the folder.
if(NOT HDDTEST_SANITIZE AND NOT HDDTEST_FUZZ AND NOT CMAKE_BUILD_TYPE STREQUAL Debug)
  set(HDDTEST_HARDENING -fstack-clash-protection -fcf-protection
      -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=./build)
  add_compile_options(${HDDTEST_HARDENING} -fstack-protector-strong -Wformat
                      -Werror=format-security -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
                      $<$<COMPILE_LANGUAGE:CXX>:-D_GLIBCXX_ASSERTIONS>)
  add_link_options(-Wl,-z,relro)
endif()

if(HDDTEST_FUZZ)
  # Entry points are looked up by name and called through the types of the CMPI interface, which are
  # not exactly theirs: -fno-sanitize=function.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize=function
                      -fno-sanitize-recover=undefined -fno-omit-frame-pointer -O1 -g1)
  add_link_options(-fsanitize=address,undefined)
endif()

# hddtest_require(VARIABLE "what" "Debian package"): stops with the package to install.
function(hddtest_require variable what package)
  if(NOT ${variable})
    message(FATAL_ERROR "${what} not found: install it with 'apt-get install ${package}'")
  endif()
endfunction()

# The environment of every test: the machine's own log gets no line, and the objects that are left
# unreleased on purpose do not count as leaks. The leak checker guesses where the thread-local memory
# of a library begins that was loaded at run time. Where it guesses wrong it breaks off, so it does
# not guess.
file(WRITE ${CMAKE_BINARY_DIR}/CTestCustom.cmake
  "set(ENV{ASAN_OPTIONS} intercept_tls_get_addr=0)\n"
  "set(ENV{HVX_LOG_FILE} /dev/null)\n"
  "set(ENV{LSAN_OPTIONS} \"suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0\")\n")

find_package(Threads REQUIRED)
find_package(Python3 COMPONENTS Interpreter QUIET)
hddtest_require(Python3_FOUND "Python 3" python3)
find_package(EXPAT QUIET)
hddtest_require(EXPAT_FOUND "The XML parser Expat" libexpat1-dev)
find_path(HDDTEST_CLI11_INCLUDE CLI/CLI.hpp)
hddtest_require(HDDTEST_CLI11_INCLUDE "The command line library CLI11" libcli11-dev)
find_path(HDDTEST_JSON_INCLUDE nlohmann/json.hpp)
hddtest_require(HDDTEST_JSON_INCLUDE "The JSON library" nlohmann-json3-dev)
find_package(fmt QUIET)
hddtest_require(fmt_FOUND "The formatting library fmt" libfmt-dev)
find_path(HDDTEST_SQLITE_INCLUDE sqlite3.h)
hddtest_require(HDDTEST_SQLITE_INCLUDE "The header of SQLite" libsqlite3-dev)
find_library(HDDTEST_SQLITE sqlite3)
hddtest_require(HDDTEST_SQLITE "The database library SQLite" libsqlite3-dev)
find_library(HDDTEST_GNUTLS gnutls)
hddtest_require(HDDTEST_GNUTLS "The TLS library GnuTLS" libgnutls28-dev)
find_library(HDDTEST_CRYPT crypt)
hddtest_require(HDDTEST_CRYPT "The password hashing library libcrypt" libcrypt-dev)

function(hddtest_library target)
  cmake_parse_arguments(ARG "PLUGIN" "VERSION_SCRIPT" "SOURCES;LINK" ${ARGN})
  add_library(${target} SHARED ${ARG_SOURCES} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${target} PRIVATE ${ARG_LINK})
  # Object managers load us lazily into a name space with hundreds of names of theirs. Data is
  # left out: a program may hold a copy of a meta-class, and then everybody must mean the copy.
  target_link_options(${target} PRIVATE -Wl,-z,now -Wl,-Bsymbolic-functions)
  # With clang the sanitizers stand in the program.
  if(NOT HDDTEST_FUZZ)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  if(ARG_VERSION_SCRIPT)
    target_link_options(${target} PRIVATE -Wl,--version-script=${ARG_VERSION_SCRIPT})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${ARG_VERSION_SCRIPT})
  endif()
  set(place ${HDDTEST_LIBRARY_PLACE})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  if(ARG_PLUGIN)
    set(place ${HDDTEST_PLUGIN_PLACE})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN;$ORIGIN/../hddtest")
  endif()
  install(TARGETS ${target} LIBRARY DESTINATION ${place} COMPONENT module)
endfunction()

function(hddtest_objects target)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(${target} OBJECT ${ARG_SOURCES} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${target} PUBLIC ${ARG_LINK})
endfunction()

if(BUILD_TESTING)
  find_package(GTest QUIET)
  hddtest_require(GTest_FOUND "GoogleTest" "libgtest-dev libgmock-dev")
endif()

# The units of all test programs share one precompiled header, for GoogleTest is most of what each of
# them reads. They still include what they use: without this option they build the same.
option(HDDTEST_PRECOMPILE "Precompile what the units of tests include" ON)

# What all test programs are compiled with. What runs for milliseconds is not optimised: it builds in
# half the time so. What it tests is. For the same reason undefined behaviour is looked for in what is
# tested only.
function(hddtest_test_settings target)
  target_link_libraries(${target} PRIVATE GTest::gmock GTest::gtest_main Threads::Threads)
  target_compile_options(${target} PRIVATE -O0 -U_FORTIFY_SOURCE)
  if(HDDTEST_SANITIZE MATCHES undefined)
    target_compile_options(${target} PRIVATE -fno-sanitize=undefined)
  endif()
endfunction()

if(BUILD_TESTING AND HDDTEST_PRECOMPILE)
  # CMake compiles the header with the settings of a target; this one stands for every program.
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/generated/test_headers.cpp CONTENT "")
  add_library(test_headers OBJECT ${CMAKE_BINARY_DIR}/generated/test_headers.cpp)
  set_target_properties(test_headers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(test_headers PRIVATE -fPIE)
  hddtest_test_settings(test_headers)
  target_precompile_headers(test_headers PRIVATE
    <gmock/gmock.h> <gtest/gtest.h> <algorithm> <atomic> <chrono> <filesystem> <fstream> <functional>
    <future> <map> <optional> <set> <sstream> <string> <thread> <vector>)
endif()

# hddtest_add_test(NAME PROGRAM [ENVIRONMENT VARIABLE=value...] [property value]...): runs a GoogleTest
# program. In the folder cases it has NAME.running until its end, and then NAME.xml about its cases.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/cases)
function(hddtest_add_test name program)
  cmake_parse_arguments(ARG "" "" "ENVIRONMENT" ${ARGN})
  set(file ${CMAKE_BINARY_DIR}/cases/${name})
  add_test(NAME ${name} COMMAND ${HDDTEST_OWN_TMP} $<TARGET_FILE:${program}>)
  set_tests_properties(${name} PROPERTIES TIMEOUT 600 ${ARG_UNPARSED_ARGUMENTS} ENVIRONMENT
    "GTEST_OUTPUT=xml:${file}.xml;TEST_PREMATURE_EXIT_FILE=${file}.running;${ARG_ENVIRONMENT}")
  # Once in some ten thousand processes the leak checker itself fails, after the tests have passed.
  if(HDDTEST_SANITIZE MATCHES address)
    set_tests_properties(${name} PROPERTIES
      SKIP_REGULAR_EXPRESSION "PASSED[^F]*LeakSanitizer has encountered a fatal error")
  endif()
endfunction()

function(hddtest_test name)
  if(NOT BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(ARG "" "RECORDED;SHARDS;COST" "SOURCES;LINK;LABELS;ENVIRONMENT" ${ARGN})
  add_executable(${name} ${ARG_SOURCES} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${ARG_LINK})
  hddtest_test_settings(${name})
  if(TARGET test_headers)
    target_precompile_headers(${name} REUSE_FROM test_headers)
  endif()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${HDDTEST_TEST_DIR}
                        INSTALL_RPATH "$ORIGIN/../lib")
  if(ARG_RECORDED)
    if(NOT DEFINED ENV{${ARG_RECORDED}})
      return()
    endif()
    list(APPEND ARG_ENVIRONMENT "${ARG_RECORDED}=$ENV{${ARG_RECORDED}}")
  endif()
  set(properties)
  if(ARG_LABELS)
    list(APPEND properties LABELS "${ARG_LABELS}")
    # Builds the tests of one label without the rest, such as target thread_tests.
    if(NOT TARGET ${ARG_LABELS}_tests)
      add_custom_target(${ARG_LABELS}_tests)
    endif()
    add_dependencies(${ARG_LABELS}_tests ${name})
  endif()
  if(ARG_COST)
    list(APPEND properties COST ${ARG_COST})
  endif()
  if(NOT ARG_SHARDS)
    hddtest_add_test(${name} ${name} ${properties} ENVIRONMENT ${ARG_ENVIRONMENT})
    return()
  endif()
  foreach(shard RANGE 1 ${ARG_SHARDS})
    math(EXPR index "${shard} - 1")
    hddtest_add_test(${name}.${shard} ${name} ${properties} ENVIRONMENT ${ARG_ENVIRONMENT}
                     GTEST_TOTAL_SHARDS=${ARG_SHARDS} GTEST_SHARD_INDEX=${index})
  endforeach()
endfunction()

# A tree with sanitizers would only repeat it.
function(hddtest_script_test name script)
  if(NOT BUILD_TESTING OR HDDTEST_SANITIZE)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "PROPERTIES" ${ARGN})
  add_test(NAME ${name} COMMAND Python3::Interpreter -B ${CMAKE_CURRENT_SOURCE_DIR}/${script}
           ${ARG_UNPARSED_ARGUMENTS})
  if(ARG_PROPERTIES)
    set_tests_properties(${name} PROPERTIES ${ARG_PROPERTIES})
  endif()
endfunction()
