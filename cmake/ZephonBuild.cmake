# What every target of the project shares: warnings, sanitizers, output folders and the
# two functions by which folders declare their libraries and tests.

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

find_program(ZEPHON_CCACHE ccache)
if(ZEPHON_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Without this ccache keeps nothing that uses a precompiled header.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${ZEPHON_CCACHE}")
endif()

add_library(zephon_options INTERFACE)
target_include_directories(zephon_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(zephon_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
# Sources name themselves from the root of the project, wherever it lies. ccache may hand them to
# the compiler by their path from the build folder.
file(RELATIVE_PATH ZEPHON_PATH_TO_SOURCES "${CMAKE_BINARY_DIR}" "${PROJECT_SOURCE_DIR}")
foreach(path "${PROJECT_SOURCE_DIR}" ${ZEPHON_PATH_TO_SOURCES})
    string(REGEX REPLACE "/$" "" path "${path}")
    target_compile_options(zephon_options INTERFACE "-fmacro-prefix-map=${path}/=")
endforeach()
if(ZEPHON_WARNINGS_AS_ERRORS)
    target_compile_options(zephon_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(zephon_options INTERFACE -Wthread-safety)
endif()

if(ZEPHON_SANITIZER STREQUAL "asan")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Programs that are loaded at any address have a relocation for each check: a quarter of
        # their size, read and written again at each start.
        add_compile_options(-fno-pie)
        add_link_options(-no-pie)
    endif()
elseif(ZEPHON_SANITIZER STREQUAL "tsan")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT ZEPHON_SANITIZER STREQUAL "")
    message(FATAL_ERROR "ZEPHON_SANITIZER is \"${ZEPHON_SANITIZER}\": it must be empty, asan or tsan")
endif()

if(ZEPHON_BUILD_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "ZEPHON_BUILD_FUZZ needs clang: use scripts/run-fuzz or the preset fuzz")
    endif()
    # Coverage in everything that the targets reach; the driver itself is linked by fuzz/.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# zephon_library(<name> SOURCES ... [PUBLIC libs...] [PRIVATE libs...])
# A static library zephon_<name> with the alias zephon::<name>.
function(zephon_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(zephon_${name} STATIC ${ARG_SOURCES})
    add_library(zephon::${name} ALIAS zephon_${name})
    target_include_directories(zephon_${name} PUBLIC "${PROJECT_SOURCE_DIR}")
    target_link_libraries(zephon_${name} PUBLIC ${ARG_PUBLIC} PRIVATE zephon_options ${ARG_PRIVATE})
endfunction()

# What a sanitizer is told at run time. The library's own removeParticipant deletes with a size
# that differs from the allocation's, and its own locks confuse the thread sanitizer. Over TCP it
# also gives memory of malloc to delete when it accepts a second connection.
# One variable each: gtest_discover_tests does not carry a list.
function(zephon_test_environment result over_tcp)
    set(environment "")
    if(ZEPHON_SANITIZER STREQUAL "asan")
        set(environment "ASAN_OPTIONS=new_delete_type_mismatch=0:detect_leaks=1")
        if(over_tcp)
            string(APPEND environment ":alloc_dealloc_mismatch=0")
        endif()
    elseif(ZEPHON_SANITIZER STREQUAL "tsan")
        set(suppressions tsan.supp)
        if(over_tcp)
            set(suppressions tsan-tcp.supp)
        endif()
        set(environment "TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/cmake/${suppressions}:second_deadlock_stack=1")
    endif()
    set(${result} "${environment}" PARENT_SCOPE)
endfunction()

# The tests' own code need not be fast; this halves the time that it takes to compile.
function(zephon_test_code target)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -fpch-preprocess)
    endif()
    if(ZEPHON_SANITIZER)
        target_compile_options(${target} PRIVATE -O0)
    else()
        target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
    endif()
endfunction()

# The same for a source that declares a program's arguments: CLI11 is most of it.
function(zephon_reads_arguments source)
    set_source_files_properties("${source}" PROPERTIES
        COMPILE_OPTIONS "$<IF:$<CONFIG:Release>,-O1,-O0>")
endfunction()

# Google Mock's headers are half of what a test program compiles: read once for all of them, with
# the very options that the programs have. ccache wants to see them in what is preprocessed.
function(zephon_precompile_test_headers)
    set(unit "${CMAKE_BINARY_DIR}/test-headers.cpp")
    file(CONFIGURE OUTPUT "${unit}" CONTENT "")
    add_library(zephon_test_headers OBJECT "${unit}")
    target_link_libraries(zephon_test_headers PRIVATE zephon_options GTest::gmock)
    zephon_test_code(zephon_test_headers)
    target_precompile_headers(zephon_test_headers PRIVATE
        <gmock/gmock.h> <gtest/gtest.h>
        <array> <atomic> <chrono> <cstdint> <filesystem> <fstream> <functional> <iostream> <map>
        <memory> <optional> <set> <sstream> <string> <thread> <vector>)
endfunction()

# zephon_add_test(<name> SOURCES ... LIBRARIES ... [TIMEOUT seconds] [DISCOVER] [OVER_TCP]
#                 [LABELS ...])
# One Google Test program. It is one entry of ctest, or with DISCOVER one entry for each test.
# OVER_TCP is for programs whose records travel over the library's TCP transport.
function(zephon_add_test name)
    cmake_parse_arguments(ARG "DISCOVER;OVER_TCP" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    zephon_test_environment(environment "${ARG_OVER_TCP}")
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} zephon_options GTest::gmock GTest::gtest_main)
    zephon_test_code(${name})
    target_precompile_headers(${name} REUSE_FROM zephon_test_headers)
    if(ARG_DISCOVER)
        gtest_discover_tests(${name}
            DISCOVERY_TIMEOUT 60
            PROPERTIES TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${environment}" LABELS "${ARG_LABELS}")
    else()
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES
            TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${environment}" LABELS "${ARG_LABELS}")
    endif()
endfunction()
