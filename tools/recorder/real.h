// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORDER_REAL_H_
#define QOR_TOOLS_RECORDER_REAL_H_

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace tools::recorder {

constexpr char kClientLibrary[] = "libcapi-qor-handler-manager.so.0";
constexpr char kAppControlLibrary[] = "libcapi-appfw-app-control.so.0";
constexpr char kLogLibrary[] = "libdlog.so.0";
constexpr char kRpcPortLibrary[] = "librpc-port.so.1";

// Returns the function `name` of `library`. RTLD_NEXT does not find a library that the program
// loaded with dlopen(). Aborts if there is no such function.
template <typename Function>
Function* FindReal(const char* library, const char* name) {
  void* found = dlsym(RTLD_NEXT, name);
  if (found == nullptr) {
    if (void* handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD)) found = dlsym(handle, name);
  }
  if (found == nullptr) {
    std::fprintf(stderr, "qor-recorder: %s has no %s\n", library, name);
    std::abort();
  }
  return reinterpret_cast<Function*>(found);
}

}  // namespace tools::recorder

// The wrapped C function, looked up once.
#define QOR_REAL(library, function)                                                         \
  ([] {                                                                                     \
    static const auto found =                                                               \
        tools::recorder::FindReal<decltype(function)>(tools::recorder::library, #function); \
    return found;                                                                           \
  }())

#endif
