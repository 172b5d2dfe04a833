# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# What cmake --install puts in place, as the components runtime, dev and tools. Nothing of it holds
# the prefix, so an installed tree may be moved.

include(CMakePackageConfigHelpers)
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/qor-handler-manager)

# pkgconfig_file(FOLDER NAME DESCRIPTION LIBRARY_FOLDER INCLUDE_FOLDER LIBRARIES
#   [REQUIRES module...] [REQUIRES_PRIVATE module...]):
# installs FOLDER/NAME.pc, which names the other two folders relative to its own. LIBRARIES are the
# linker's options.
function(pkgconfig_file folder name description library_folder include_folder libraries)
  cmake_parse_arguments(PARSE_ARGV 6 arg "" "" "REQUIRES;REQUIRES_PRIVATE")
  string(JOIN " " requires ${arg_REQUIRES})
  string(JOIN " " requires_private ${arg_REQUIRES_PRIVATE})
  set(prefix ${CMAKE_INSTALL_PREFIX})
  cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY ${prefix} OUTPUT_VARIABLE from)
  cmake_path(ABSOLUTE_PATH library_folder BASE_DIRECTORY ${prefix})
  cmake_path(ABSOLUTE_PATH include_folder BASE_DIRECTORY ${prefix})
  cmake_path(RELATIVE_PATH library_folder BASE_DIRECTORY ${from})
  cmake_path(RELATIVE_PATH include_folder BASE_DIRECTORY ${from})
  set(file ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${file} @ONLY)
  install(FILES ${file} DESTINATION ${folder} COMPONENT dev)
endfunction()

# public_library(TARGET EXPORTED_NAME DESCRIPTION HEADER_FOLDER): its file name is its pkg-config
# module, EXPORTED_NAME its name in CMake packages.
function(public_library target name description header_folder)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  install(TARGETS ${target} EXPORT qor-handler-manager
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY ${header_folder}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
    FILES_MATCHING PATTERN *.h)
  get_target_property(library ${target} OUTPUT_NAME)
  if(NOT library)
    set(library ${target})
  endif()
  pkgconfig_file(${pkgconfig_folder} ${library} ${description}
    ${CMAKE_INSTALL_LIBDIR} ${CMAKE_INSTALL_INCLUDEDIR} "-L\${libdir} -l${library}")
endfunction()

public_library(capi-qor-handler-manager handler-manager
  "Commands from a device-management agent to handler applications" ${PROJECT_SOURCE_DIR}/include)
if(TARGET qor_handler)
  public_library(qor_handler handler "What a handler application needs to answer commands"
    ${PROJECT_SOURCE_DIR}/handler/include)
endif()

# The CMake package qor-handler-manager.
install(EXPORT qor-handler-manager DESTINATION ${package_folder} NAMESPACE qor::
  FILE qor-handler-manager-targets.cmake COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qor-handler-manager-config.cmake.in
  ${PROJECT_BINARY_DIR}/qor-handler-manager-config.cmake INSTALL_DESTINATION ${package_folder}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qor-handler-manager-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qor-handler-manager-config.cmake
  ${PROJECT_BINARY_DIR}/qor-handler-manager-config-version.cmake
  DESTINATION ${package_folder} COMPONENT dev)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME copyright
  COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT runtime)

if(TARGET qor)
  install(TARGETS qor DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  # The man page and the shells' completions, which the build makes in the places they have below.
  install(DIRECTORY ${PROJECT_BINARY_DIR}/share/ DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}
    COMPONENT tools OPTIONAL)
endif()
if(TARGET qor-recorder)
  install(TARGETS qor-recorder LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/qor COMPONENT tools)
endif()

if(QOR_PLATFORM STREQUAL linux)
  include(cmake/InstallPlatform.cmake)
  include(cmake/Sbom.cmake)
endif()

# cmake --build BUILD --target uninstall takes back the last installation.
install(CODE "file(WRITE \"${PROJECT_BINARY_DIR}/install_prefix.txt\"
  \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")" ALL_COMPONENTS)
add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -D BUILD_FOLDER=${PROJECT_BINARY_DIR}
  -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake VERBATIM)
