// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_MESSAGE_SERVER_H_
#define PLATFORM_LINUX_COMMON_MESSAGE_SERVER_H_

#include <cstdint>
#include <list>
#include <vector>

#include "platform/linux/common/accept-backoff.h"
#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

class MessageObserver {
 public:
  // A message came, with its connection, on which it may be acknowledged. No bytes: the sender
  // disconnected or announced a message that is too long. Called on the main loop's thread; may
  // destroy the server. Reports its own failures.
  virtual void OnMessage(const std::vector<uint8_t>& bytes, const PeerCredentials& sender,
                         const UniqueFd& connection) noexcept = 0;

 protected:
  ~MessageObserver() = default;
};

// Takes messages, one for each connection, from a listening socket on the Ecore main loop, in the
// order in which they are complete. Processes of other users are rejected. Senders that are slow or
// silent delay nobody and cannot use up descriptors. For the main loop's thread alone.
class MessageServer final : private LoopObserver {
 public:
  // This many connections may wait for their message; the next one ends the oldest.
  static constexpr size_t kMaxSenders = 64;
  // So many seconds a connection may wait for its message.
  static constexpr double kMessageTimeout = 10.0;

  // Log lines have the tag. The tag and the observer must outlive the server. Throws
  // std::runtime_error when the main loop refuses.
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
  // Closed before the connections: who then finds its message not taken knows why.
  const UniqueFd socket_;
  LoopWatch watch_;
  AcceptBackoff backoff_;
};

}  // namespace platform

#endif
