// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/rpc-port/raw-client.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include "platform/linux/common/root-folder.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/test-root.h"

namespace platform::test {

RawClient::RawClient(const std::string& port_name)
    : fd_(ConnectTo(RootPath() + "/run/ports/" + OwnAppId(), port_name)) {
  EXPECT_TRUE(fd_);
}

void RawClient::SendBytes(const std::vector<uint8_t>& bytes) {
  EXPECT_EQ(send(fd_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(bytes.size()));
}

rpc::HandshakeReply RawClient::SendHello(const rpc::Hello& hello) {
  SendBytes(rpc::EncodeHello(hello));
  uint8_t byte;
  EXPECT_TRUE(RunLoopUntil([&] { return recv(fd_.Get(), &byte, 1, MSG_PEEK) >= 0; }));
  return ReceiveReply();
}

rpc::HandshakeReply RawClient::SendHelloToOtherProcess(const rpc::Hello& hello) {
  SendBytes(rpc::EncodeHello(hello));
  pollfd ready = {fd_.Get(), POLLIN, 0};
  poll(&ready, 1, -1);
  return ReceiveReply();
}

rpc::HandshakeReply RawClient::ReceiveReply() {
  uint8_t bytes[1024];
  const ssize_t size = recv(fd_.Get(), bytes, sizeof(bytes), 0);
  if (size <= 4) return {};
  return rpc::DecodeReply({bytes + 4, static_cast<size_t>(size) - 4})
      .value_or(rpc::HandshakeReply{});
}

bool RawClient::IsClosed() {
  return RunLoopUntil([&] {
    uint8_t byte;
    return recv(fd_.Get(), &byte, 1, 0) == 0;
  });
}

JoinedClient::JoinedClient(const std::string& port_name) : main(port_name), callback(port_name) {
  const rpc::HandshakeReply reply = main.SendHello(rpc::Hello{});
  EXPECT_TRUE(reply.is_accepted);
  EXPECT_TRUE(callback.SendHello({true, reply.token}).is_accepted);
}

}  // namespace platform::test
