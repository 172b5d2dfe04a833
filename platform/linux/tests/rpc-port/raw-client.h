// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_RPC_PORT_RAW_CLIENT_H_
#define PLATFORM_LINUX_TESTS_RPC_PORT_RAW_CLIENT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/handshake.h"

namespace platform::test {

// A connection to a port of this process, which a test can make violate the protocol.
class RawClient {
 public:
  explicit RawClient(const std::string& port_name);

  void SendBytes(const std::vector<uint8_t>& bytes);
  // Sends a hello and returns the reply of the stub, running the main loop until it arrives.
  rpc::HandshakeReply SendHello(const rpc::Hello& hello);
  // Like SendHello(), for a stub of another process: does not run the main loop.
  rpc::HandshakeReply SendHelloToOtherProcess(const rpc::Hello& hello);
  // Runs the main loop until the stub has closed the connection. False after a timeout.
  bool IsClosed();
  void Close() { fd_.Reset(); }

 private:
  rpc::HandshakeReply ReceiveReply();

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
