// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Calls functions inside callbacks. Stub and proxy are in this process and share its main loop.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/linux/tests/rpc-port/endpoints.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/test-root.h"

using namespace platform::test;

namespace {

class Reentrancy : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(stub_.Listen(), RPC_PORT_ERROR_NONE); }

  void Connect() {
    ASSERT_EQ(proxy_.Connect(OwnAppId(), "port"), RPC_PORT_ERROR_NONE);
    ASSERT_TRUE(RunLoopUntil([&] { return proxy_.connected > 0 && stub_.connected > 0; }));
  }
  int Request(const std::string& text) { return Send(proxy_.Port(RPC_PORT_PORT_MAIN), {"", text}); }

  TestRoot root_;
  TestStub stub_{"port"};
  TestProxy proxy_;
};

}  // namespace

TEST_F(Reentrancy, StubIsDestroyedInsideConnected) {
  stub_.on_connected = [&] { stub_.Destroy(); };
  ASSERT_EQ(proxy_.Connect(OwnAppId(), "port"), RPC_PORT_ERROR_NONE);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected + proxy_.rejected > 0; }));
  EXPECT_EQ(stub_.disconnected, 0);
}

TEST_F(Reentrancy, StubIsDestroyedInsideReceivedWithMoreInTheBurst) {
  Connect();
  rpc_port_h port_inside = nullptr;
  stub_.on_received = [&](rpc_port_h port, const Message&) {
    port_inside = port;
    stub_.Destroy();
    EXPECT_EQ(Send(port, {"", "too late"}), RPC_PORT_ERROR_INVALID_PARAMETER);
    return 0;
  };
  for (int i = 0; i < 5; ++i) Request("burst");
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
  EXPECT_EQ(stub_.received.size(), 1u);
  EXPECT_EQ(stub_.disconnected, 0);
  EXPECT_EQ(rpc_port_disconnect(port_inside), RPC_PORT_ERROR_INVALID_PARAMETER);
}

TEST_F(Reentrancy, StubIsDestroyedInsideDisconnected) {
  Connect();
  stub_.on_disconnected = [&] { stub_.Destroy(); };
  proxy_.Destroy();
  ASSERT_TRUE(RunLoopUntil([&] { return stub_.disconnected == 1; }));
  EXPECT_EQ(stub_.handle, nullptr);
}

TEST_F(Reentrancy, StubDisconnectsInsideReceived) {
  Connect();
  stub_.on_received = [&](rpc_port_h port, const Message&) {
    EXPECT_EQ(rpc_port_disconnect(port), RPC_PORT_ERROR_NONE);
    EXPECT_EQ(stub_.disconnected, 0);
    return 0;
  };
  for (int i = 0; i < 5; ++i) Request("burst");
  ASSERT_TRUE(RunLoopUntil([&] { return stub_.disconnected > 0 && proxy_.disconnected > 0; }));
  RunLoopDry();
  EXPECT_EQ(stub_.received.size(), 1u);
  EXPECT_EQ(stub_.disconnected, 1);
  EXPECT_EQ(proxy_.disconnected, 1);
}

TEST_F(Reentrancy, StubClosesOnlyConnectionOfFailedCallback) {
  Connect();
  TestProxy other;
  ASSERT_EQ(other.Connect(OwnAppId(), "port"), RPC_PORT_ERROR_NONE);
  ASSERT_TRUE(RunLoopUntil([&] { return other.connected > 0 && stub_.connected == 2; }));
  stub_.on_received = [](rpc_port_h, const Message& message) {
    return message.text == "bad" ? 1 : 0;
  };
  Request("bad");
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
  Send(other.Port(RPC_PORT_PORT_MAIN), {"", "good"});
  ASSERT_TRUE(RunLoopUntil([&] { return stub_.received.size() == 2; }));
  EXPECT_EQ(stub_.disconnected, 1);
  EXPECT_EQ(other.disconnected, 0);
}

TEST_F(Reentrancy, StubListensAgainInsideDisconnected) {
  Connect();
  auto second = std::make_unique<TestStub>("port");
  stub_.on_disconnected = [&] {
    stub_.Destroy();
    EXPECT_EQ(second->Listen(), RPC_PORT_ERROR_NONE);
  };
  proxy_.Destroy();
  ASSERT_TRUE(RunLoopUntil([&] { return stub_.disconnected == 1; }));
  TestProxy again;
  ASSERT_EQ(again.Connect(OwnAppId(), "port"), RPC_PORT_ERROR_NONE);
  EXPECT_TRUE(RunLoopUntil([&] { return again.connected == 1; }));
}

TEST_F(Reentrancy, ProxyConnectsBeforeReceivingFrameSentInsideConnected) {
  int connected_before = -1;
  stub_.on_connected = [&] { Send(stub_.Port(RPC_PORT_PORT_CALLBACK), {"", "welcome"}); };
  proxy_.on_received = [&] { connected_before = proxy_.connected; };
  ASSERT_EQ(proxy_.Connect(OwnAppId(), "port"), RPC_PORT_ERROR_NONE);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.received.size() == 1; }));
  EXPECT_EQ(connected_before, 1);
}

TEST_F(Reentrancy, ProxyIsDestroyedInsideConnected) {
  proxy_.on_connected = [&] { proxy_.Destroy(); };
  ASSERT_EQ(proxy_.Connect(OwnAppId(), "port"), RPC_PORT_ERROR_NONE);
  ASSERT_TRUE(RunLoopUntil([&] { return stub_.disconnected == 1; }));
  EXPECT_EQ(proxy_.disconnected, 0);
}

TEST_F(Reentrancy, ProxyIsDestroyedInsideReceivedWithMoreInTheBurst) {
  Connect();
  proxy_.on_received = [&] { proxy_.Destroy(); };
  for (int i = 0; i < 5; ++i) Send(stub_.Port(RPC_PORT_PORT_CALLBACK), {"", "burst"});
  ASSERT_TRUE(RunLoopUntil([&] { return stub_.disconnected == 1; }));
  EXPECT_EQ(proxy_.received.size(), 1u);
  EXPECT_EQ(proxy_.disconnected, 0);
}

TEST_F(Reentrancy, ProxyIsDestroyedInsideDisconnected) {
  Connect();
  proxy_.on_disconnected = [&] { proxy_.Destroy(); };
  stub_.Destroy();
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
  EXPECT_EQ(proxy_.handle, nullptr);
}

TEST_F(Reentrancy, ProxyIsDestroyedInsideRejected) {
  TestStub guarded("guarded", {"http://example.org/privilege"});
  ASSERT_EQ(guarded.Listen(), RPC_PORT_ERROR_NONE);
  proxy_.on_rejected = [&] { proxy_.Destroy(); };
  ASSERT_EQ(proxy_.Connect(OwnAppId(), "guarded"), RPC_PORT_ERROR_NONE);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.rejected == 1; }));
  EXPECT_EQ(proxy_.handle, nullptr);
}

TEST_F(Reentrancy, ProxyConnectsAgainInsideDisconnected) {
  Connect();
  proxy_.on_disconnected = [&] {
    EXPECT_EQ(proxy_.Connect(OwnAppId(), "port"), RPC_PORT_ERROR_NONE);
  };
  rpc_port_disconnect(stub_.Port(RPC_PORT_PORT_CALLBACK));
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.connected == 2; }));
  EXPECT_EQ(proxy_.disconnected, 1);
}

TEST_F(Reentrancy, UnreadFrameIsDropped) {
  int offers = 0;
  rpc_port_stub_h stub = nullptr;
  ASSERT_EQ(rpc_port_stub_create(&stub, "lazy"), RPC_PORT_ERROR_NONE);
  const auto ignore = [](const char*, const char*, rpc_port_h, void* data) {
    ++*static_cast<int*>(data);
    return 0;
  };
  rpc_port_stub_add_received_event_cb(stub, ignore, &offers);
  ASSERT_EQ(rpc_port_stub_listen(stub), RPC_PORT_ERROR_NONE);
  ASSERT_EQ(proxy_.Connect(OwnAppId(), "lazy"), RPC_PORT_ERROR_NONE);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.connected == 1; }));
  Request("one");
  Request("two");
  ASSERT_TRUE(RunLoopUntil([&] { return offers >= 2; }));
  RunLoopDry();
  EXPECT_EQ(offers, 2);
  rpc_port_stub_destroy(stub);
}
