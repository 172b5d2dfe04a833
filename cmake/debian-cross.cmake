# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# Toolchain for another Debian architecture: Debian's cross compiler with a sysroot of packages of
# that architecture. QOR_CROSS_ARCHITECTURE is Debian's name of the architecture, QOR_CROSS_SYSROOT
# the sysroot, QOR_CROSS_EMULATOR the user-mode emulator, or empty if the kernel supports the
# architecture.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES
  QOR_CROSS_ARCHITECTURE QOR_CROSS_SYSROOT QOR_CROSS_EMULATOR)

set(compiler_i386 i686-linux-gnu)
set(compiler_armhf arm-linux-gnueabihf)
set(compiler_arm64 aarch64-linux-gnu)
set(libraries_i386 i386-linux-gnu)
set(libraries_armhf arm-linux-gnueabihf)
set(libraries_arm64 aarch64-linux-gnu)
set(processor_i386 i686)
set(processor_armhf armv7l)
set(processor_arm64 aarch64)
set(loader_i386 ld-linux.so.2)
set(loader_armhf ld-linux-armhf.so.3)
set(loader_arm64 ld-linux-aarch64.so.1)

set(compiler ${compiler_${QOR_CROSS_ARCHITECTURE}})
set(libraries ${libraries_${QOR_CROSS_ARCHITECTURE}})
set(sysroot ${QOR_CROSS_SYSROOT})

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${processor_${QOR_CROSS_ARCHITECTURE}})
set(CMAKE_C_COMPILER ${compiler}-gcc)
set(CMAKE_CXX_COMPILER ${compiler}-g++)
set(CMAKE_SYSROOT ${sysroot})
set(CMAKE_LIBRARY_ARCHITECTURE ${libraries})
set(CMAKE_CROSSCOMPILING_EMULATOR ${QOR_CROSS_EMULATOR})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${sysroot})
set(ENV{PKG_CONFIG_LIBDIR} ${sysroot}/usr/lib/${libraries}/pkgconfig:${sysroot}/usr/share/pkgconfig)

# Programs use the loader and the libraries of the sysroot. DT_RPATH instead of DT_RUNPATH, because
# it also applies to the dependencies of libraries.
set(library_folders ${sysroot}/usr/lib/${libraries}:${sysroot}/lib/${libraries})
set(link_flags "-Wl,--disable-new-dtags -Wl,-rpath,${library_folders}")
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "${link_flags} -Wl,--dynamic-linker=${sysroot}/lib/${loader_${QOR_CROSS_ARCHITECTURE}}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${link_flags}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${link_flags}")
