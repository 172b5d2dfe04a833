// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Replaces malloc(), calloc() and realloc() of the whole process. The C library supports this and
// exports its own implementations as __libc_….

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
