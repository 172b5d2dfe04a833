// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_BYTES_H_
#define PLATFORM_LINUX_RPC_PORT_BYTES_H_

#include <cstddef>
#include <cstdint>

namespace platform::rpc {

// Bytes that someone else owns.
struct ByteView {
  const uint8_t* data = nullptr;
  size_t size = 0;
};

}  // namespace platform::rpc

#endif
