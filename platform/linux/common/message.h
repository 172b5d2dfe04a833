// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_MESSAGE_H_
#define PLATFORM_LINUX_COMMON_MESSAGE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform {

// One message per connection, from a client to a server: its length as four bytes (lowest first),
// then its bytes.

// Fits the kernel's default socket buffer, so that a client can send the whole message before the
// server has accepted the connection.
constexpr size_t kMaxMessageSize = 128 * 1024;

// Sends a message. Waits at most `timeout` while the receiver's buffer is full. Returns false with
// errno set on failure: EMSGSIZE, ETIMEDOUT or the error of the socket.
bool SendMessage(int socket_fd, const std::vector<uint8_t>& message,
                 std::chrono::milliseconds timeout);

// Acknowledges a message with one byte. Never blocks.
void Acknowledge(int socket_fd);

// Collects a message from a non-blocking socket as its bytes arrive.
class MessageReader {
 public:
  enum class State { kPartial, kComplete, kBroken };

  // Reads what the socket holds. Broken when the peer disconnected, or announced a message that is
  // too long or empty, for which nothing is allocated.
  State ReadFrom(int socket_fd);

  // The message. Must be complete.
  const std::vector<uint8_t>& Bytes() const { return bytes_; }

 private:
  // Reads until `target` holds `size` bytes, of which `*done` were read before.
  static State Fill(int socket_fd, uint8_t* target, size_t size, size_t* done);

  uint8_t header_[4] = {};
  size_t header_size_ = 0;
  std::vector<uint8_t> bytes_;
  size_t size_ = 0;
};

}  // namespace platform

#endif
