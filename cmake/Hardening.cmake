# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# What makes an error in memory harder to use against the agent: code at addresses that nobody
# knows, stacks that are guarded, tables that cannot be written to once the program runs, jumps that
# end where functions begin, checked copies. Sanitizers bring checks of their own.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported()

add_compile_options(-fstack-protector-strong)
foreach(flag -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "QOR_HAS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    add_compile_options(${flag})
  endif()
endforeach()
if(NOT QOR_SANITIZE)
  # Needs an optimising compiler.
  add_compile_options("$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
