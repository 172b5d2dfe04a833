// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_BUNDLE_GUARD_H_
#define PLATFORM_LINUX_BUNDLE_GUARD_H_

#include <bundle.h>
#include <tizen_error.h>

#include <exception>

namespace platform::bundle {

// Runs an action that returns a bundle_error_e. The only exceptions in this library are those of
// failed allocations (too long a vector included), and none leaves a C function.
template <typename Action>
int Guarded(Action action) {
  try {
    return action();
  } catch (const std::exception&) {
    return BUNDLE_ERROR_OUT_OF_MEMORY;
  }
}

// The same for functions that return something else and leave the error in the last result.
template <typename Action>
bool Succeeds(Action action) {
  const int result = Guarded(action);
  set_last_result(result);
  return result == BUNDLE_ERROR_NONE;
}

}  // namespace platform::bundle

#endif
