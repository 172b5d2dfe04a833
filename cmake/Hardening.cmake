# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# Exploit mitigations: position-independent code, stack protector, full RELRO, control-flow
# protection, fortified copies. tests/install/hardening.py checks the built files.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported()

add_compile_options(-fstack-protector-strong)
foreach(flag -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "QOR_HAS${flag}" has_flag)
  check_cxx_compiler_flag(${flag} ${has_flag})
  if(${has_flag})
    add_compile_options(${flag})
  endif()
endforeach()
if(NOT QOR_SANITIZE)
  # _FORTIFY_SOURCE requires optimization, and hides errors from the sanitizers.
  add_compile_options("$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
