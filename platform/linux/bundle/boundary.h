// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_BUNDLE_BOUNDARY_H_
#define PLATFORM_LINUX_BUNDLE_BOUNDARY_H_

#include <bundle.h>

#include "platform/linux/common/c-boundary.h"

namespace platform::bundle {

// The only exceptions in this library are those of allocations: std::bad_alloc, and
// std::length_error for sizes that no allocation could have.
inline constexpr CBoundary kBoundary("BUNDLE", [](const std::exception&) -> int {
  return BUNDLE_ERROR_OUT_OF_MEMORY;
});

// For C functions that do not return an error code: sets the last result to it. True when it is
// BUNDLE_ERROR_NONE.
template <typename Body>
bool Succeeds(const Body& body) {
  const int result = kBoundary.Run(body);
  set_last_result(result);
  return result == BUNDLE_ERROR_NONE;
}

}  // namespace platform::bundle

#endif
