// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_BOUNDARY_H_
#define PLATFORM_LINUX_RPC_PORT_BOUNDARY_H_

#include <rpc-port.h>

#include "platform/linux/common/c-boundary.h"

namespace platform::rpc {

inline constexpr char kLogTag[] = "RPC_PORT";

inline constexpr CBoundary kBoundary(kLogTag, [](const std::exception&) -> int {
  return RPC_PORT_ERROR_IO_ERROR;
});

}  // namespace platform::rpc

#endif
