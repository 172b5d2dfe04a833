# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# The libraries, headers and pkg-config modules of the Linux platform have the names and the layout
# of a device's. They are installed in separate folders that are on no default search path, so that
# nothing else on the machine uses them by accident.
get_property(platform_libraries GLOBAL PROPERTY QOR_PLATFORM_LIBRARIES)
set(platform_folder ${CMAKE_INSTALL_LIBDIR}/qor-platform)

install(TARGETS ${platform_libraries}
  LIBRARY DESTINATION ${platform_folder} COMPONENT runtime NAMELINK_COMPONENT dev)
install(TARGETS platform_common
  LIBRARY DESTINATION ${platform_folder} COMPONENT runtime NAMELINK_SKIP)
# Beside the library that starts it.
install(TARGETS qor-log-writer RUNTIME DESTINATION ${platform_folder} COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qor-platform COMPONENT dev FILES_MATCHING PATTERN *.h)
get_property(modules GLOBAL PROPERTY QOR_PLATFORM_MODULES)
foreach(module IN LISTS modules)
  foreach(property IN ITEMS FOLDER LIBRARY REQUIRES REQUIRES_PRIVATE)
    get_target_property(module_${property} platform::${module} QOR_${property})
  endforeach()
  # capi-appfw-application has no library on Linux, where UI applications are not supported. It only
  # requires other modules.
  set(libraries "")
  if(TARGET ${module_LIBRARY})
    # With a run path, since the folder is not on the loader's default path.
    set(libraries "-L\${libdir} -l${module_LIBRARY} -Wl,-rpath,\${libdir}")
  endif()
  pkgconfig_file(${platform_folder} ${module} "${module} of the Linux platform"
    ${platform_folder} ${CMAKE_INSTALL_INCLUDEDIR}/qor-platform/${module_FOLDER} "${libraries}"
    REQUIRES ${module_REQUIRES} REQUIRES_PRIVATE ${module_REQUIRES_PRIVATE})
endforeach()

# Run paths are relative to the binary: the installed tree can be moved, and builds are reproducible
# in any folder.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR}
  OUTPUT_VARIABLE to_libraries)
set(run_path_of_capi-qor-handler-manager "$ORIGIN/qor-platform")
set(run_path_of_qor-agent "$ORIGIN")
set(run_path_of_qor_handler "$ORIGIN/qor-platform")
set(run_path_of_qor "$ORIGIN/${to_libraries};$ORIGIN/${to_libraries}/qor-platform")
set(installed_binaries ${platform_libraries} platform_common)
foreach(target IN ITEMS capi-qor-handler-manager qor-agent qor_handler qor-recorder
    qor)
  if(TARGET ${target})
    list(APPEND installed_binaries ${target})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "${run_path_of_${target}}")
  endif()
endforeach()
set_target_properties(${installed_binaries} PROPERTIES BUILD_RPATH_USE_ORIGIN ON)
