// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Stubs and proxies of this process with a peer in another process.

#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "platform/linux/tests/rpc-port/endpoints.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/peer-process.h"
#include "platform/linux/tests/support/test-root.h"

using namespace platform::test;

namespace {

constexpr char kPeerId[] = "host.platform_rpc_peer";

// A proxy of this process, connected to a stub of the peer.
class ProxyWithPeer : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(peer_.Ask("listen port"), "listen 0");
    ASSERT_EQ(proxy_.Connect(kPeerId, "port"), RPC_PORT_ERROR_NONE);
    EXPECT_EQ(proxy_.connected, 0) << "connected before the loop ran";
    ASSERT_TRUE(RunLoopUntil([&] { return proxy_.connected > 0; }));
    main_ = proxy_.Port(RPC_PORT_PORT_MAIN);
    callback_ = proxy_.Port(RPC_PORT_PORT_CALLBACK);
    ASSERT_EQ(peer_.NextLine(), "connected " + OwnAppId());
  }

  std::string Call(const std::string& verb, const std::string& text) {
    EXPECT_EQ(Send(main_, {verb, text}), RPC_PORT_ERROR_NONE);
    Message reply;
    EXPECT_TRUE(Take(main_, &reply));
    return reply.text;
  }

  TestRoot root_;
  PeerProcess peer_;
  TestProxy proxy_;
  rpc_port_h main_ = nullptr;
  rpc_port_h callback_ = nullptr;
};

std::vector<std::string> NumbersUpTo(int end) {
  std::vector<std::string> numbers;
  for (int i = 0; i < end; ++i) numbers.push_back(std::to_string(i));
  return numbers;
}

}  // namespace

TEST_F(ProxyWithPeer, ReceivesRepliesOnMainPort) {
  EXPECT_EQ(Call("echo", "one"), "one");
  EXPECT_EQ(Call("echo", "two"), "two");
}

TEST_F(ProxyWithPeer, ReceivesRepliesInOrderOfRequests) {
  for (const std::string& number : NumbersUpTo(100)) Send(main_, {"echo", number});
  for (const std::string& number : NumbersUpTo(100)) {
    Message reply;
    ASSERT_TRUE(Take(main_, &reply));
    ASSERT_EQ(reply.text, number);
  }
}

TEST_F(ProxyWithPeer, ReceivesCallbackFramesInOrder) {
  Send(main_, {"push", "500"});
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.received.size() == 500; }));
  EXPECT_EQ(proxy_.received, NumbersUpTo(500));
}

TEST_F(ProxyWithPeer, SendsOnCallbackPort) {
  Send(callback_, {"any", "over the callback port"});
  EXPECT_EQ(Call("take-callback", ""), "over the callback port");
}

TEST_F(ProxyWithPeer, ExchangesLongPayloadsOnBothPorts) {
  for (const size_t size : {size_t{64} * 1024, size_t{3} * 1024 * 1024}) {
    const std::string payload(size, 'x');
    EXPECT_EQ(Call("echo", payload), payload);
    proxy_.received.clear();
    Send(main_, {"push-this", payload});
    ASSERT_TRUE(RunLoopUntil([&] { return !proxy_.received.empty(); }));
    EXPECT_EQ(proxy_.received.front(), payload);
  }
}

TEST_F(ProxyWithPeer, DisconnectsOnceWhenPeerIsKilled) {
  peer_.Kill();
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected > 0; }));
  RunLoopDry();
  EXPECT_EQ(proxy_.disconnected, 1);
  EXPECT_EQ(proxy_.rejected, 0);
  EXPECT_EQ(Send(main_, {"echo", "x"}), RPC_PORT_ERROR_INVALID_PARAMETER);
}

TEST_F(ProxyWithPeer, FailsToReceiveReplyOfKilledPeer) {
  Send(main_, {"exit", ""});
  Message reply;
  EXPECT_FALSE(Take(main_, &reply));
  EXPECT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
}

TEST_F(ProxyWithPeer, DisconnectsWhenReceivedCallbackFails) {
  Send(main_, {"fail", ""});
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
  EXPECT_EQ(peer_.NextLine(), "disconnected " + OwnAppId());
}

TEST_F(ProxyWithPeer, DisconnectsWhenStubDisconnects) {
  Send(main_, {"disconnect", ""});
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
  EXPECT_EQ(peer_.NextLine(), "disconnected " + OwnAppId());
}

TEST_F(ProxyWithPeer, ReconnectsAfterDisconnection) {
  Send(main_, {"fail", ""});
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
  ASSERT_EQ(proxy_.Connect(kPeerId, "port"), RPC_PORT_ERROR_NONE);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.connected == 2; }));
  main_ = proxy_.Port(RPC_PORT_PORT_MAIN);
  EXPECT_EQ(Call("echo", "again"), "again");
}

TEST_F(ProxyWithPeer, RejectsSecondConnection) {
  EXPECT_EQ(proxy_.Connect(kPeerId, "port"), RPC_PORT_ERROR_INVALID_PARAMETER);
}

TEST_F(ProxyWithPeer, DisconnectsOnceFromMainLoop) {
  EXPECT_EQ(rpc_port_disconnect(callback_), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_disconnect(main_), RPC_PORT_ERROR_INVALID_PARAMETER);
  rpc_port_h port = nullptr;
  EXPECT_EQ(rpc_port_proxy_get_port(proxy_.handle, RPC_PORT_PORT_MAIN, &port),
            RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(proxy_.disconnected, 0);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected > 0; }));
  EXPECT_EQ(peer_.NextLine(), "disconnected " + OwnAppId());
  RunLoopDry();
  EXPECT_EQ(proxy_.disconnected, 1);
}

TEST_F(ProxyWithPeer, DisconnectsSlowReader) {
  peer_.Signal(SIGSTOP);
  const std::string payload(1024 * 1024, 'x');
  int sends = 0;
  while (Send(main_, {"echo", payload}) == RPC_PORT_ERROR_NONE && sends < 1000) ++sends;
  EXPECT_GE(sends, 16);
  EXPECT_LE(sends, 19);
  EXPECT_EQ(proxy_.disconnected, 0);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy_.disconnected == 1; }));
}

TEST(ProxySync, ConnectsBeforeReturning) {
  const TestRoot root;
  PeerProcess peer;
  TestProxy proxy;
  ASSERT_EQ(peer.Ask("listen port"), "listen 0");
  ASSERT_EQ(proxy.ConnectSync(kPeerId, "port"), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(proxy.connected, 1);
  Send(proxy.Port(RPC_PORT_PORT_MAIN), {"push", "3"});
  ASSERT_TRUE(RunLoopUntil([&] { return proxy.received.size() == 3; }));
}

TEST(ProxySync, IsRejectedBeforeReturning) {
  const TestRoot root;
  PeerProcess peer;
  TestProxy proxy;
  ASSERT_EQ(peer.Ask("listen port http://example.org/privilege"), "listen 0");
  EXPECT_EQ(proxy.ConnectSync(kPeerId, "port"), RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(proxy.connected, 0);
  EXPECT_EQ(proxy.rejected, 1);
}

TEST(Proxy, FailsWithoutListener) {
  const TestRoot root;
  TestProxy proxy;
  EXPECT_EQ(proxy.Connect("host.missing", "port"), RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(proxy.ConnectSync("host.missing", "port"), RPC_PORT_ERROR_IO_ERROR);
  RunLoopDry();
  EXPECT_EQ(proxy.rejected, 0);
}

TEST(Proxy, ConnectsBelowRootWithLongPath) {
  const TestRoot root(5);
  ASSERT_GT(root.path().size(), 108u);
  PeerProcess peer;
  TestProxy proxy;
  ASSERT_EQ(peer.Ask("listen " + std::string(80, 'p')), "listen 0");
  EXPECT_EQ(proxy.ConnectSync(kPeerId, std::string(80, 'p')), RPC_PORT_ERROR_NONE);
}

TEST(Stub, ServesPeerOfAnotherProcess) {
  const TestRoot root;
  TestStub stub("port");
  ASSERT_EQ(stub.Listen(), RPC_PORT_ERROR_NONE);
  stub.on_received = [](rpc_port_h port, const Message& message) {
    return Send(port, {"echoed", message.text});
  };
  PeerProcess peer;
  ASSERT_EQ(peer.Ask("connect " + OwnAppId() + " port"), "connected");
  EXPECT_EQ(stub.sender, kPeerId);
  EXPECT_EQ(peer.Ask("call echo hello"), "echoed hello");
  Send(stub.Port(RPC_PORT_PORT_CALLBACK), {"pushed", "news"});
  EXPECT_EQ(peer.NextLine(), "received news");
}

TEST(Stub, DisconnectsOnceWhenPeerIsKilled) {
  const TestRoot root;
  TestStub stub("port");
  ASSERT_EQ(stub.Listen(), RPC_PORT_ERROR_NONE);
  PeerProcess peer;
  ASSERT_EQ(peer.Ask("connect " + OwnAppId() + " port"), "connected");
  peer.Kill();
  ASSERT_TRUE(RunLoopUntil([&] { return stub.disconnected > 0; }));
  RunLoopDry();
  EXPECT_EQ(stub.disconnected, 1);
  EXPECT_EQ(stub.Port(RPC_PORT_PORT_MAIN), nullptr);
}

TEST(Stub, DistinguishesClients) {
  const TestRoot root;
  TestStub stub("port");
  ASSERT_EQ(stub.Listen(), RPC_PORT_ERROR_NONE);
  PeerProcess first;
  ASSERT_EQ(first.Ask("connect " + OwnAppId() + " port"), "connected");
  const std::string first_instance = stub.instance;
  PeerProcess second;
  ASSERT_EQ(second.Ask("connect " + OwnAppId() + " port"), "connected");
  EXPECT_NE(stub.instance, first_instance);
  Send(stub.Port(RPC_PORT_PORT_CALLBACK), {"pushed", "for the second"});
  EXPECT_EQ(second.NextLine(), "received for the second");
}
