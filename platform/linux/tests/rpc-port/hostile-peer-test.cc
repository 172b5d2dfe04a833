// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Peers that violate the protocol: their connection is closed, others and the main loop continue.

#include <Ecore.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/parcel.h"
#include "platform/linux/tests/rpc-port/endpoints.h"
#include "platform/linux/tests/rpc-port/raw-client.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/test-root.h"

using namespace platform::test;

namespace {

std::vector<uint8_t> ParcelFrame(const std::string& text) {
  platform::rpc::Parcel parcel;
  parcel.WriteSized("verb", 5);
  parcel.WriteSized(text.c_str(), text.size() + 1);
  const auto frame = parcel.Frame();
  return {frame.data, frame.data + frame.size};
}

class HostilePeer : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(stub_.Listen(), RPC_PORT_ERROR_NONE); }

  // Returns the log lines of an action.
  std::string LogOf(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
  }

  // Sends the bytes on the main port of a client. Its connection must be closed, others stay open.
  void ExpectClosedAfter(const std::vector<uint8_t>& bytes, const std::string& cause) {
    JoinedClient good("port");
    JoinedClient bad("port");
    const std::string log = LogOf([&] {
      bad.main.SendBytes(bytes);
      EXPECT_TRUE(bad.main.IsClosed());
      EXPECT_TRUE(bad.callback.IsClosed());
    });
    EXPECT_NE(log.find(OwnAppId() + " sent " + cause), std::string::npos) << log;
    EXPECT_EQ(stub_.disconnected, 1);
    EXPECT_TRUE(stub_.received.empty());
    good.main.SendBytes(ParcelFrame("still here"));
    EXPECT_TRUE(RunLoopUntil([&] { return stub_.received.size() == 1; }));
  }

  TestRoot root_;
  TestStub stub_{"port"};
};

}  // namespace

TEST_F(HostilePeer, IsDisconnectedAfterOversizeFrame) {
  ExpectClosedAfter({0xFF, 0xFF, 0xFF, 0xFF}, "a frame of invalid length");
}

TEST_F(HostilePeer, IsDisconnectedAfterEmptyFrame) {
  ExpectClosedAfter({0, 0, 0, 0}, "a frame of invalid length");
}

TEST_F(HostilePeer, IsDisconnectedAfterMalformedParcel) {
  ExpectClosedAfter({3, 0, 0, 0, 1, 2, 3}, "a parcel with an invalid header");
}

TEST_F(HostilePeer, CanSendSingleBytes) {
  JoinedClient slow("port");
  JoinedClient quick("port");
  const auto frame = ParcelFrame("slow");
  for (size_t i = 0; i + 1 < frame.size(); ++i) {
    slow.main.SendBytes({frame[i]});
    if (i % 10 == 0) RunLoopDry();
  }
  quick.main.SendBytes(ParcelFrame("quick"));
  ASSERT_TRUE(RunLoopUntil([&] { return !stub_.received.empty(); }));
  slow.main.SendBytes({frame.back()});
  ASSERT_TRUE(RunLoopUntil([&] { return stub_.received.size() == 2; }));
  EXPECT_EQ(stub_.received, (std::vector<std::string>{"quick", "slow"}));
}

TEST_F(HostilePeer, CanExitInsideFrame) {
  JoinedClient client("port");
  auto frame = ParcelFrame("never whole");
  frame.pop_back();
  client.main.SendBytes(frame);
  client.main.Close();
  ASSERT_TRUE(RunLoopUntil([&] { return stub_.disconnected > 0; }));
  RunLoopDry();
  EXPECT_EQ(stub_.disconnected, 1);
  EXPECT_TRUE(stub_.received.empty());
}

TEST_F(HostilePeer, IsRejectedWithoutHandshake) {
  RawClient client("port");
  client.SendBytes(ParcelFrame("hello?"));
  EXPECT_TRUE(client.IsClosed());
  RawClient eager("port");
  auto bytes = platform::rpc::EncodeHello(platform::rpc::Hello{});
  const auto more = ParcelFrame("already");
  bytes.insert(bytes.end(), more.begin(), more.end());
  eager.SendBytes(bytes);
  EXPECT_TRUE(eager.IsClosed());
  EXPECT_EQ(stub_.connected, 0);
}

TEST_F(HostilePeer, CannotOpenCallbackPortWithoutMainPort) {
  RawClient main("port");
  const auto accepted = main.SendHello(platform::rpc::Hello{});
  ASSERT_TRUE(accepted.is_accepted);
  RawClient guesser("port");
  const auto guessed = guesser.SendHello({true, platform::rpc::NewToken()});
  EXPECT_FALSE(guessed.is_accepted);
  EXPECT_FALSE(guessed.cause.empty());
  EXPECT_EQ(stub_.connected, 0);
  main.Close();
  RunLoopDry();
  RawClient late("port");
  EXPECT_FALSE(late.SendHello({true, accepted.token}).is_accepted);
  EXPECT_EQ(stub_.connected, 0);
  EXPECT_EQ(stub_.disconnected, 0);
}

TEST_F(HostilePeer, CannotJoinTwice) {
  RawClient main("port");
  const auto accepted = main.SendHello(platform::rpc::Hello{});
  RawClient first("port");
  ASSERT_TRUE(first.SendHello({true, accepted.token}).is_accepted);
  RawClient second("port");
  EXPECT_FALSE(second.SendHello({true, accepted.token}).is_accepted);
  EXPECT_EQ(stub_.connected, 1);
}

TEST_F(HostilePeer, CannotJoinWithTokenOfAnotherProcess) {
  RawClient main("port");
  const auto accepted = main.SendHello(platform::rpc::Hello{});
  ASSERT_TRUE(accepted.is_accepted);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  const pid_t other = fork();
  if (other == 0) {
    const auto answer = RawClient("port").SendHelloToOtherProcess({true, accepted.token});
    const ssize_t written = write(ends[1], answer.is_accepted ? "y" : "n", 1);
    _exit(written == 1 ? 0 : 1);
  }
  char result = '?';
  EXPECT_TRUE(RunLoopUntil([&] { return read(ends[0], &result, 1) == 1; }));
  EXPECT_EQ(result, 'n');
  EXPECT_EQ(stub_.connected, 0);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(HostilePeer, IsDisconnectedAfterParcelBeforeHandshake) {
  RawClient main("port");
  ASSERT_TRUE(main.SendHello(platform::rpc::Hello{}).is_accepted);
  main.SendBytes(ParcelFrame("too early"));
  EXPECT_TRUE(main.IsClosed());
  EXPECT_TRUE(stub_.received.empty());
}

TEST_F(HostilePeer, CannotMakeLoopSpinByExhaustingDescriptors) {
  // Accept a connection first: the sanitizers open descriptors with their first check.
  const RawClient welcome("port");
  RunLoopDry();
  RawClient client("port");
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const std::string log = LogOf([&] {
    const int next = dup(STDERR_FILENO);
    close(next);
    const rlimit none = {static_cast<rlim_t>(next), before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    // Only retries of accept() wake the loop.
    int iterations = 0;
    const double begin = ecore_time_get();
    EXPECT_TRUE(RunLoopUntil([&] { return ++iterations == 6; }));
    EXPECT_GT(ecore_time_get() - begin, 1.0);
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  });
  const std::string line = "cannot accept connections, retrying every second";
  const size_t position = log.find(line);
  ASSERT_NE(position, std::string::npos) << log;
  EXPECT_EQ(log.find(line, position + 1), std::string::npos) << log;
  EXPECT_TRUE(client.SendHello(platform::rpc::Hello{}).is_accepted);
}

TEST(HostileStub, IsDisconnectedAfterProtocolError) {
  const TestRoot root;
  TestStub stub("port");
  ASSERT_EQ(stub.Listen(), RPC_PORT_ERROR_NONE);
  const std::string folder = root.path() + "/run/ports/" + OwnAppId();
  const platform::UniqueFd listener = platform::ListenAt(folder, "hostile");
  ASSERT_TRUE(listener);
  TestProxy proxy;
  ASSERT_EQ(proxy.Connect(OwnAppId(), "hostile"), RPC_PORT_ERROR_NONE);
  const platform::UniqueFd accepted(accept4(listener.Get(), nullptr, nullptr, SOCK_NONBLOCK));
  ASSERT_TRUE(accepted);
  ASSERT_EQ(write(accepted.Get(), "\xFF\xFF\xFF\xFF", 4), 4);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy.rejected > 0; }));
  RunLoopDry();
  EXPECT_EQ(proxy.rejected, 1);
  EXPECT_EQ(proxy.connected, 0);
}

TEST(HostileStub, IsDisconnectedAfterTimeout) {
  const TestRoot root;
  TestStub stub("port");
  ASSERT_EQ(stub.Listen(), RPC_PORT_ERROR_NONE);
  const std::string folder = root.path() + "/run/ports/" + OwnAppId();
  const platform::UniqueFd listener = platform::ListenAt(folder, "silent");
  TestProxy proxy;
  ASSERT_EQ(proxy.Connect(OwnAppId(), "silent"), RPC_PORT_ERROR_NONE);
  ASSERT_TRUE(RunLoopUntil([&] { return proxy.rejected > 0; }));
  EXPECT_EQ(proxy.rejected, 1);
}
