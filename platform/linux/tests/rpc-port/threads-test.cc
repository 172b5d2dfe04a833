// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Use of ports from threads other than the main loop's.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/tests/rpc-port/endpoints.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/test-root.h"

using namespace platform::test;

namespace {

class Threads : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(stub_.Listen(), RPC_PORT_ERROR_NONE);
    ASSERT_EQ(proxy_.Connect(OwnAppId(), "port"), RPC_PORT_ERROR_NONE);
    ASSERT_TRUE(RunLoopUntil([&] { return proxy_.connected > 0 && stub_.connected > 0; }));
  }

  TestRoot root_;
  TestStub stub_{"port"};
  TestProxy proxy_;
};

}  // namespace

TEST_F(Threads, CanSendWhileLoopRuns) {
  constexpr int kThreads = 3;
  constexpr int kMessages = 100;
  const rpc_port_h port = stub_.Port(RPC_PORT_PORT_CALLBACK);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([port, i] {
      const std::string payload(size_t{1000} * static_cast<size_t>(i * i * i + 1), 'x');
      for (int j = 0; j < kMessages; ++j) {
        ASSERT_EQ(Send(port, {"", payload}), RPC_PORT_ERROR_NONE);
      }
    });
  }
  EXPECT_TRUE(RunLoopUntil([&] { return proxy_.received.size() == kThreads * kMessages; }));
  for (std::thread& thread : threads) thread.join();
}

TEST_F(Threads, CanSendDuringDisconnection) {
  const rpc_port_h port = stub_.Port(RPC_PORT_PORT_CALLBACK);
  std::atomic<bool> failed{false};
  std::thread sender([&] {
    while (Send(port, {"", std::string(10000, 'x')}) == RPC_PORT_ERROR_NONE) {
    }
    failed = true;
  });
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.received.size() > 10; }));
  proxy_.Destroy();
  EXPECT_TRUE(RunLoopUntil([&] { return stub_.disconnected == 1; }));
  sender.join();
  EXPECT_TRUE(failed);
}

TEST_F(Threads, CanDisconnect) {
  const rpc_port_h port = stub_.Port(RPC_PORT_PORT_CALLBACK);
  std::thread([port] { EXPECT_EQ(rpc_port_disconnect(port), RPC_PORT_ERROR_NONE); }).join();
  EXPECT_TRUE(RunLoopUntil([&] { return stub_.disconnected == 1 && proxy_.disconnected == 1; }));
}

TEST_F(Threads, CanWaitForReply) {
  stub_.on_received = [](rpc_port_h port, const Message& message) {
    return Send(port, {"", message.text});
  };
  const rpc_port_h port = proxy_.Port(RPC_PORT_PORT_MAIN);
  std::atomic<int> replies{0};
  std::thread caller([&] {
    Message reply;
    while (replies < 50 && Send(port, {"", "call"}) == RPC_PORT_ERROR_NONE && Take(port, &reply)) {
      ++replies;
    }
    rpc_port_disconnect(port);
  });
  EXPECT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
  caller.join();
  EXPECT_EQ(replies, 50);
}
