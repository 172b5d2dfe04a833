# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# Precompiles the headers that most tests include, once each for libraries, optimized libraries,
# programs and GoogleTest programs, which saves a third of the compile time. Shipped targets do not
# use them: debug information would contain the path of the precompiled header.
set(precompiled ${PROJECT_BINARY_DIR}/precompiled.cc)
file(CONFIGURE OUTPUT ${precompiled} CONTENT "int main() { return 0; }\n")
set(standard_headers <algorithm> <chrono> <cstdint> <filesystem> <functional> <map> <memory>
  <optional> <sstream> <string> <string_view> <unordered_map> <utility> <vector>)

add_library(precompiled_for_libraries OBJECT ${precompiled})
target_precompile_headers(precompiled_for_libraries PRIVATE ${standard_headers})
add_library(precompiled_for_optimized_libraries OBJECT ${precompiled})
target_precompile_headers(precompiled_for_optimized_libraries PRIVATE ${standard_headers})
qor_optimize(precompiled_for_optimized_libraries)
add_executable(precompiled_for_programs ${precompiled})
target_precompile_headers(precompiled_for_programs PRIVATE ${standard_headers})
add_executable(precompiled_for_tests ${precompiled})
target_link_libraries(precompiled_for_tests PRIVATE GTest::gtest GTest::gmock)
target_precompile_headers(precompiled_for_tests PRIVATE ${standard_headers} <gmock/gmock.h>)

# use_precompiled_headers(FOLDER): for all targets of the folder and of its subfolders.
function(use_precompiled_headers folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    get_target_property(libraries ${target} LINK_LIBRARIES)
    get_target_property(sources ${target} SOURCES)
    get_target_property(is_optimized ${target} QOR_OPTIMIZED)
    if(NOT sources MATCHES "\\.cc(;|$)")
      continue()
    elseif(is_optimized)
      target_precompile_headers(${target} REUSE_FROM precompiled_for_optimized_libraries)
    elseif(type MATCHES "LIBRARY$" AND NOT type STREQUAL "INTERFACE_LIBRARY")
      target_precompile_headers(${target} REUSE_FROM precompiled_for_libraries)
    elseif(type STREQUAL "EXECUTABLE" AND libraries MATCHES "GTest::")
      target_precompile_headers(${target} REUSE_FROM precompiled_for_tests)
    elseif(type STREQUAL "EXECUTABLE")
      target_precompile_headers(${target} REUSE_FROM precompiled_for_programs)
    endif()
  endforeach()
  get_property(subfolders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(subfolder IN LISTS subfolders)
    use_precompiled_headers(${subfolder})
  endforeach()
endfunction()
foreach(folder tests platform/conformance platform/linux/tests agent/tests handler/tests)
  if(IS_DIRECTORY ${PROJECT_BINARY_DIR}/${folder})
    use_precompiled_headers(${PROJECT_SOURCE_DIR}/${folder})
  endif()
endforeach()
