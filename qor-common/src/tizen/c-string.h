// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_C_STRING_H_
#define TIZEN_C_STRING_H_

#include <cstdlib>
#include <memory>
#include <string>

#include "tizen/exception.h"

namespace tizen {

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

// A string that the platform allocated with malloc() and the caller frees.
using CString = std::unique_ptr<char, FreeDeleter>;

// Reads a string property of a platform handle; null becomes "". Throws tizen::Exception with the
// name `what` if the getter fails.
template <typename Getter, typename Handle>
std::string GetString(Getter getter, Handle handle, const char* what) {
  char* text = nullptr;
  ThrowOnError(getter(handle, &text), what);
  const CString owned(text);
  return text != nullptr ? text : "";
}

}  // namespace tizen

#endif
