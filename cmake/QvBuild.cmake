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
if(QV_WERROR)
    target_compile_options(qv_options INTERFACE -Werror)
endif()
if(QV_SANITIZE)
    add_compile_options(-fsanitize=${QV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${QV_SANITIZE})
endif()

# qv_layer(NAME <sources> USES <layers and libraries>): one layer of src/, a static library.
function(qv_layer name)
    cmake_parse_arguments(ARG "" "" "USES" ${ARGN})
    add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
    target_link_libraries(${name} PUBLIC ${ARG_USES} PRIVATE qv_options)
endfunction()

# qv_module(NAME <sources> EXPORTS <file> USES <layers>): a shared library that exports what its map file names.
function(qv_module name)
    cmake_parse_arguments(ARG "" "EXPORTS" "USES" ${ARGN})
    add_library(${name} SHARED ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
    target_link_libraries(${name} PRIVATE ${ARG_USES} qv_options)
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
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    gtest_discover_tests(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} DISCOVERY_TIMEOUT 60)
endfunction()
