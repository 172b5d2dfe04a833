// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_BUFFER_H_
#define PLATFORM_LINUX_RPC_PORT_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace platform::rpc {

// Memory for bytes, which is not zeroed: only the pages that are written to are ever touched.
// A few large ones outlive their owners to become the next buffers, because a stream of long
// parcels would otherwise give its pages back to the kernel and fetch them again with each of them.
// Buffers may be made and destroyed on any thread.
class Buffer {
 public:
  Buffer() = default;
  // At least that many bytes.
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
