// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The C library's allocation functions, for the whole process: it allows a program to define its
// own and provides its own ones under these names.

#include <cerrno>
#include <cstddef>

#include "allocation-failure.h"

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
  if (!fault_injection::MustAllocationFail()) return __libc_malloc(size);
  errno = ENOMEM;
  return nullptr;
}

void* calloc(std::size_t count, std::size_t size) {
  if (!fault_injection::MustAllocationFail()) return __libc_calloc(count, size);
  errno = ENOMEM;
  return nullptr;
}

void* realloc(void* memory, std::size_t size) {
  if (!fault_injection::MustAllocationFail()) return __libc_realloc(memory, size);
  errno = ENOMEM;
  return nullptr;
}

}  // extern "C"
