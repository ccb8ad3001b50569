# How everything here is compiled, and the three kinds of target that the folders declare.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN")

add_library(qv_options INTERFACE)
target_compile_options(qv_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # What base/mutex.h says of the locks, their order included.
    target_compile_options(qv_options INTERFACE -Wthread-safety -Wthread-safety-beta)
endif()
if(QV_WERROR)
    target_compile_options(qv_options INTERFACE -Werror)
endif()
if(QV_SANITIZE)
    add_compile_options(-fsanitize=${QV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${QV_SANITIZE})
endif()
if(QV_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "QV_FUZZ needs clang++")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Everything that is built without a sanitizer or a fuzzer is hardened: a stack that is written over ends the process,
# copies into arrays of known size are checked, every start has other addresses, what the linker has filled in can't be
# written any more, no memory that can be written is run, and on x86 calls and returns go to marked places only where the
# system sees to that. The tests go without the checked copies, which need an optimised build.
if(NOT QV_SANITIZE AND NOT QV_FUZZ)
    include(CheckCXXCompilerFlag)
    include(CheckPIESupported)
    check_pie_supported()
    add_compile_options(-fstack-protector-strong)
    check_cxx_compiler_flag(-fstack-clash-protection QV_HAS_STACK_CLASH_PROTECTION)
    if(QV_HAS_STACK_CLASH_PROTECTION)
        add_compile_options(-fstack-clash-protection)
    endif()
    add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
        add_compile_options(-fcf-protection=full)
        add_link_options(LINKER:-z,shstk)
    endif()
    if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
        add_compile_options("SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2")
    endif()
endif()

# qv_share_headers(KIND HEADERS <headers> OPTIONS <options> USES <libraries>): reads headers ahead, once for all targets of a
# kind: library, program or test. They must be compiled alike.
function(qv_share_headers kind)
    cmake_parse_arguments(ARG "" "" "HEADERS;OPTIONS;USES" ${ARGN})
    if(kind STREQUAL library)
        add_library(qv_headers_${kind} OBJECT ${PROJECT_SOURCE_DIR}/cmake/headers.cpp)
    else()
        add_executable(qv_headers_${kind} ${PROJECT_SOURCE_DIR}/cmake/headers.cpp)
    endif()
    target_link_libraries(qv_headers_${kind} PRIVATE ${ARG_USES} qv_options)
    target_compile_options(qv_headers_${kind} PRIVATE ${ARG_OPTIONS})
    target_precompile_headers(qv_headers_${kind} PRIVATE ${ARG_HEADERS})
endfunction()

# qv_take_headers(TARGET KIND): gives a target the headers of its kind, if they were read ahead.
function(qv_take_headers target kind)
    if(TARGET qv_headers_${kind})
        target_precompile_headers(${target} REUSE_FROM qv_headers_${kind})
    endif()
endfunction()

# What ships takes them under the sanitizers alone: elsewhere each file shows that it includes what it uses.
set(QV_STANDARD_HEADERS <algorithm> <array> <atomic> <charconv> <chrono> <condition_variable> <cstdint> <deque> <filesystem>
    <functional> <iostream> <list> <map> <memory> <mutex> <optional> <set> <span> <sstream> <stop_token> <string>
    <string_view> <thread> <tuple> <unordered_map> <unordered_set> <utility> <variant> <vector>)
if(QV_SANITIZE)
    qv_share_headers(library HEADERS ${QV_STANDARD_HEADERS})
    qv_share_headers(program HEADERS ${QV_STANDARD_HEADERS})
endif()
# The code under test is optimised, the tests themselves needn't be: that and the headers take half of the time off them.
set(QV_TEST_OPTIONS -O0 -U_FORTIFY_SOURCE)  # checked copies need an optimised build
if(QV_TESTS)
    qv_share_headers(test HEADERS ${QV_STANDARD_HEADERS} <fstream> <future> <gmock/gmock.h> <gtest/gtest.h>
        OPTIONS ${QV_TEST_OPTIONS} USES GTest::gmock)
endif()

# qv_layer(NAME <sources> USES <layers and libraries>): one layer of src/, a static library.
function(qv_layer name)
    cmake_parse_arguments(ARG "" "" "USES" ${ARGN})
    add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
    target_link_libraries(${name} PUBLIC ${ARG_USES} PRIVATE qv_options)
    qv_take_headers(${name} library)
endfunction()

# qv_module(NAME <sources> EXPORTS <file> USES <layers>): a shared library that exports what its map file names.
function(qv_module name)
    cmake_parse_arguments(ARG "" "EXPORTS" "USES" ${ARGN})
    add_library(${name} SHARED ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
    target_link_libraries(${name} PRIVATE ${ARG_USES} qv_options)
    qv_take_headers(${name} library)
    target_link_options(${name} PRIVATE
        -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${ARG_EXPORTS} -Wl,--exclude-libs,ALL)
    if(NOT QV_SANITIZE)
        target_link_options(${name} PRIVATE -Wl,--no-undefined)  # a sanitizer's own symbols come with the program
    endif()
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${ARG_EXPORTS})
endfunction()

# qv_test(NAME <sources> USES <layers and libraries>): one test program; each of its tests is one of ctest's.
function(qv_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "USES" ${ARGN})
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_USES} qv_options GTest::gmock GTest::gtest_main)
    qv_take_headers(${name} test)
    target_compile_options(${name} PRIVATE ${QV_TEST_OPTIONS})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    gtest_discover_tests(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} DISCOVERY_TIMEOUT 60)
endfunction()
