// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_MESSAGE_SERVER_H_
#define PLATFORM_LINUX_COMMON_MESSAGE_SERVER_H_

#include <chrono>
#include <cstdint>
#include <list>
#include <vector>

#include "platform/linux/common/accept-backoff.h"
#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

class MessageObserver {
 public:
  // Receives a message and its connection, on which it may be acknowledged. The bytes are empty
  // when the sender disconnected or announced a message that is too long. Called on the main loop's
  // thread; may destroy the server. Handles its own errors.
  virtual void OnMessage(const std::vector<uint8_t>& bytes, const PeerCredentials& sender,
                         const UniqueFd& connection) noexcept = 0;

 protected:
  ~MessageObserver() = default;
};

// Receives messages, one for each connection, from a listening socket on the Ecore main loop, in
// the order in which they are complete. Rejects processes of other users. Slow or silent senders
// delay no others and cannot exhaust the descriptors. For the main loop's thread only.
class MessageServer final : private LoopObserver {
 public:
  // Connections whose message is incomplete. Beyond it the oldest is closed.
  static constexpr size_t kMaxSenders = 64;
  // How long a connection may take to send its message.
  static constexpr std::chrono::seconds kMessageTimeout{10};

  // Logs with the tag. The tag and the observer must outlive the server. Throws std::runtime_error
  // when Ecore cannot add the descriptor.
  MessageServer(UniqueFd listening_socket, const char* log_tag, MessageObserver* observer);
  ~MessageServer();

 private:
  class Connection;

  void OnReady(bool readable, bool writable) override;
  void Accept();
  void CloseOldest();

  const char* const log_tag_;
  MessageObserver* const observer_;
  std::list<Connection> connections_;  // oldest first
  // Destroyed before the connections, so that a sender whose message was not read finds no listener
  // when it tries again.
  const UniqueFd socket_;
  LoopWatch watch_;
  AcceptBackoff backoff_;
};

}  // namespace platform

#endif
