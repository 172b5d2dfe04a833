// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_BUFFER_H_
#define PLATFORM_LINUX_RPC_PORT_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace platform::rpc {

// Uninitialized memory for bytes. Large buffers come from a pool of the process: otherwise each
// long parcel would return its pages to the kernel and fault new ones in. The goals for commands of
// 64 KiB beside D-Bus and the instruction count agent-command-65536 (bench) need the pool. Buffers
// may be created and destroyed on any thread.
class Buffer {
 public:
  Buffer() = default;
  // Allocates at least `size` bytes. Throws std::bad_alloc.
  explicit Buffer(size_t size);
  Buffer(Buffer&& other) noexcept { *this = std::move(other); }
  Buffer& operator=(Buffer&& other) noexcept;
  ~Buffer();

  uint8_t* data() const { return bytes_.get(); }
  size_t size() const { return size_; }

 private:
  std::unique_ptr<uint8_t[]> bytes_;
  size_t size_ = 0;
};

}  // namespace platform::rpc

#endif
