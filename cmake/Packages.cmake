# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# Debian packages of the Linux build, one for each component: cpack --config BUILD/CPackConfig.cmake
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "The qor-handler-manager authors")
set(CPACK_PACKAGE_CONTACT ${CPACK_PACKAGE_VENDOR})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/debian)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME qor-handler-manager)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "Command routing from device-management agents to handler applications
The library that an agent uses to run commands in handler applications, with
the Linux implementation of the platform that it requires.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME qor-handler-manager-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DESCRIPTION
  "Development files of qor-handler-manager
Headers, pkg-config files and CMake package for agents and handlers.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME qor-handler-manager-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
  "The qor tool of qor-handler-manager
Installs handler packages, lists handlers and sends commands.")

set(same_version "qor-handler-manager (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ${same_version})
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${same_version})

# Settings evaluated by cpack: the date of all files, for reproducible packages, and the build
# folders of our own libraries, which no installed package provides.
foreach(library IN LISTS platform_libraries ITEMS platform_common capi-qor-handler-manager
    qor-agent)
  list(APPEND library_folders $<TARGET_FILE_DIR:${library}>)
endforeach()
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/cpack-settings.cmake)
file(GENERATE OUTPUT ${CPACK_PROJECT_CONFIG_FILE} CONTENT
"set(ENV{SOURCE_DATE_EPOCH} ${QOR_SOURCE_DATE})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS \"${library_folders}\")
")

include(CPack)
