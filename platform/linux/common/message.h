// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_MESSAGE_H_
#define PLATFORM_LINUX_COMMON_MESSAGE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform {

// One message per connection, from a process that asks to one that serves: its length as four bytes
// (lowest first), then its bytes.

// The longest message. One of this size fits a socket's buffer whole, so that it can be sent before
// the receiver has accepted the connection.
constexpr size_t kMaxMessageSize = 128 * 1024;

// Sends a message. Waits no longer than `limit` for a receiver whose socket is full. On failure
// false, and errno says why (EMSGSIZE, ETIMEDOUT, or what the socket said).
bool SendMessage(int socket_fd, const std::vector<uint8_t>& message,
                 std::chrono::milliseconds limit);

// Tells the sender, by one byte, that its message was taken. Never waits.
void Acknowledge(int socket_fd);

// Collects a message from a non-blocking socket as its bytes arrive.
class MessageReader {
 public:
  enum class State { kPartial, kComplete, kBroken };

  // Takes what the socket has. Broken: the peer went away, or announced a message that is too long
  // or empty; nothing is allocated for it.
  State ReadFrom(int socket_fd);

  // Once complete.
  const std::vector<uint8_t>& Bytes() const { return bytes_; }

 private:
  // Reads until `size` bytes stand at `target`, of which `*done` are there.
  static State Fill(int socket_fd, uint8_t* target, size_t size, size_t* done);

  uint8_t header_[4] = {};
  size_t header_size_ = 0;
  std::vector<uint8_t> bytes_;
  size_t size_ = 0;
};

}  // namespace platform

#endif
