# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# Options and helper functions for all targets.

# Warnings for our own code. Always linked PRIVATE, so that consumers do not inherit them.
add_library(qor_warnings INTERFACE)
target_compile_options(qor_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wconversion $<$<BOOL:${QOR_WERROR}>:-Werror>)
# libstdc++ 12 calls a deprecated function of its own in std::stable_sort(), which Clang 19 reports.
if(CMAKE_CXX_COMPILER_ID STREQUAL Clang AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 19)
  target_compile_options(qor_warnings INTERFACE -Wno-deprecated-declarations)
endif()

if(QOR_SANITIZE)
  add_compile_options(-fsanitize=${QOR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QOR_SANITIZE})
endif()
if(QOR_BUILD_FUZZ)
  add_compile_options(-fsanitize-ignorelist=${CMAKE_CURRENT_SOURCE_DIR}/tests/fuzz/ignore.txt)
endif()

# Keeps build paths out of the binaries, including paths that a compiler cache has made relative.
cmake_path(RELATIVE_PATH CMAKE_SOURCE_DIR BASE_DIRECTORY ${CMAKE_BINARY_DIR}
  OUTPUT_VARIABLE relative_source_dir)
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffile-prefix-map=${relative_source_dir}/=
  -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)

# qor_test(NAME LABEL label TIMEOUT seconds SOURCES... LIBRARIES...): a GoogleTest executable, each
# test of which is a test LABEL.<name> of ctest.
function(qor_test name)
  cmake_parse_arguments(arg "" "LABEL;TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gtest_main GTest::gmock qor_warnings)
  gtest_discover_tests(${name} TEST_PREFIX "${arg_LABEL}." DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT})
endfunction()

# qor_optimize(TARGET): optimizes a library in debug builds too. For code in which tests spend more
# time than its optimization takes.
function(qor_optimize target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Debug>:-O1>)
  set_target_properties(${target} PROPERTIES QOR_OPTIMIZED ON)
endfunction()

# qor_package(NAME EXECUTABLE): builds the application package <build>/packages/NAME from
# packages/NAME next to the caller and an executable of this project.
function(qor_package name executable)
  set(folder ${PROJECT_BINARY_DIR}/packages/${name})
  set(source ${CMAKE_CURRENT_SOURCE_DIR}/packages/${name})
  file(GLOB_RECURSE files CONFIGURE_DEPENDS ${source}/*)
  add_custom_command(OUTPUT ${folder}/bin/${executable}
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${folder}
    COMMAND ${CMAKE_COMMAND} -E copy_directory ${source} ${folder}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}/bin
    COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:${executable}> ${folder}/bin/
    DEPENDS ${executable} ${files} VERBATIM)
  add_custom_target(package-${name} ALL DEPENDS ${folder}/bin/${executable})
endfunction()
