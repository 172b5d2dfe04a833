# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# The platform's pkg-config modules as on a device: the folder of each module's headers below the
# include folder, and the modules that it requires.
#
# Targets that include the headers of a module link platform::MODULE. On a device it is the device's
# module with its library. On Linux it has only the headers; platform::platform and
# platform::service-app have the libraries, so that tests can link the fake platform instead.

# platform_module(MODULE [FOLDER folder] [LIBRARY target] [REQUIRES module...]
#   [REQUIRES_PRIVATE module...])
function(platform_module module)
  cmake_parse_arguments(arg "" "FOLDER;LIBRARY" "REQUIRES;REQUIRES_PRIVATE" ${ARGN})
  set(target platform_${module})
  add_library(${target} INTERFACE)
  add_library(platform::${module} ALIAS ${target})
  if(QOR_PLATFORM STREQUAL device)
    string(MAKE_C_IDENTIFIER ${target} prefix)
    pkg_check_modules(${prefix} REQUIRED IMPORTED_TARGET GLOBAL ${module})
    target_link_libraries(${target} INTERFACE PkgConfig::${prefix})
    return()
  endif()
  if(NOT arg_LIBRARY)
    set(arg_LIBRARY ${module})
  endif()
  set_target_properties(${target} PROPERTIES QOR_FOLDER "${arg_FOLDER}"
    QOR_LIBRARY ${arg_LIBRARY} QOR_REQUIRES "${arg_REQUIRES}"
    QOR_REQUIRES_PRIVATE "${arg_REQUIRES_PRIVATE}")
  set_property(GLOBAL APPEND PROPERTY QOR_PLATFORM_MODULES ${module})
  target_include_directories(${target} INTERFACE
    ${PROJECT_SOURCE_DIR}/platform/include/${arg_FOLDER})
  foreach(required IN LISTS arg_REQUIRES arg_REQUIRES_PRIVATE)
    target_link_libraries(${target} INTERFACE platform::${required})
  endforeach()
endfunction()

platform_module(capi-base-common)
platform_module(bundle REQUIRES capi-base-common)
platform_module(dlog FOLDER dlog REQUIRES_PRIVATE capi-base-common)
platform_module(rpc-port FOLDER rpc-port REQUIRES capi-base-common bundle)
platform_module(capi-appfw-app-control FOLDER appfw REQUIRES capi-base-common)
platform_module(capi-appfw-app-common FOLDER appfw REQUIRES capi-base-common)
platform_module(capi-appfw-app-manager FOLDER appfw REQUIRES capi-base-common)
platform_module(capi-appfw-package-manager FOLDER appfw REQUIRES capi-base-common)
platform_module(capi-appfw-application FOLDER appfw
  REQUIRES capi-appfw-app-control capi-appfw-app-common)
platform_module(capi-appfw-service-application FOLDER appcore-agent LIBRARY appcore-agent
  REQUIRES dlog capi-appfw-application)
