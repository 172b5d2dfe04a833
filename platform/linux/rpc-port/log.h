// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_LOG_H_
#define PLATFORM_LINUX_RPC_PORT_LOG_H_

namespace platform::rpc {

constexpr char kLogTag[] = "RPC_PORT";

}  // namespace platform::rpc

#endif
