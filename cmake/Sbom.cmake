# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# The software bill of materials of the installed files. Versions and licences come from dpkg.
find_package(Python3 COMPONENTS Interpreter)
find_program(DPKG_QUERY dpkg-query)
# dpkg-query knows this machine's packages only, not those of another architecture.
if(NOT Python3_FOUND OR NOT DPKG_QUERY OR CMAKE_CROSSCOMPILING)
  message(STATUS "No software bill of materials: requires python3 and dpkg-query, and a native build")
  return()
endif()

set(sbom ${PROJECT_BINARY_DIR}/sbom.spdx.json)
# Debian packages of the header-only libraries that each target uses.
set(headers_of_capi-qor-handler-manager ,rapidjson-dev)
set(headers_of_qor_handler ,rapidjson-dev)
set(headers_of_qor-recorder ,rapidjson-dev)
set(headers_of_qor ,rapidjson-dev,libcli11-dev)
foreach(target IN LISTS installed_binaries)
  list(APPEND binaries $<TARGET_FILE:${target}>${headers_of_${target}})
endforeach()
add_custom_command(OUTPUT ${sbom}
  COMMAND ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/packaging/sbom.py ${sbom}
    ${PROJECT_VERSION} ${QOR_SOURCE_DATE} ${CMAKE_LIBRARY_ARCHITECTURE} ${binaries}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/sbom.py ${installed_binaries} VERBATIM)
add_custom_target(sbom ALL DEPENDS ${sbom})
install(FILES ${sbom} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
