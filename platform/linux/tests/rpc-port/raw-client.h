// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_IPC_RAW_CLIENT_H_
#define PLATFORM_LINUX_TESTS_IPC_RAW_CLIENT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/handshake.h"

namespace platform::test {

// A connection to a port of this process that follows the protocol only as far as a test wants.
class RawClient {
 public:
  explicit RawClient(const std::string& port_name);

  void SendBytes(const std::vector<uint8_t>& bytes);
  // What the stub answers to a greeting, running the loop until it is there.
  rpc::HandshakeReply Greet(const rpc::Hello& hello);
  // The same in a process whose stub is served by another one.
  rpc::HandshakeReply GreetOtherProcess(const rpc::Hello& hello);
  // Runs the loop until the stub has closed the connection.
  bool IsClosed();
  void Close() { fd_.Reset(); }

 private:
  rpc::HandshakeReply ReceiveAnswer();

  UniqueFd fd_;
};

// Both connections of a client that has joined.
struct JoinedClient {
  explicit JoinedClient(const std::string& port_name);
  RawClient main;
  RawClient callback;
};

}  // namespace platform::test

#endif
