// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/application/request-server.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

class RequestServerTest : public test::PlatformTest {
 protected:
  RequestServerTest() { ecore_init(); }
  ~RequestServerTest() override { ecore_shutdown(); }

  // Sends an invalid request, for which the server closes the connection.
  static void ExpectServed(const UniqueFd& sender) {
    const uint8_t empty[4] = {};
    send(sender.Get(), empty, sizeof empty, MSG_NOSIGNAL);
    char byte;
    ssize_t count = -1;
    while (count < 0) {
      ecore_main_loop_iterate_may_block(1);
      count = recv(sender.Get(), &byte, 1, MSG_DONTWAIT);
    }
    EXPECT_EQ(count, 0);
  }
};

TEST_F(RequestServerTest, BacksOffWithoutDescriptorsAndRecovers) {
  RequestServer server(ListenAt(Folder(), "requests"), [](app_control_h) {});
  // First, because sanitizers open descriptors when they first check a type.
  ExpectServed(ConnectTo(Folder(), "requests"));
  const UniqueFd sender = ConnectTo(Folder(), "requests");
  ASSERT_TRUE(sender);
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const int next = dup(STDERR_FILENO);
  close(next);
  const rlimit none = {static_cast<rlim_t>(next), before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  // Only the retry timer wakes the loop.
  const double begin = ecore_time_get();
  for (int i = 0; i < 6; ++i) ecore_main_loop_iterate_may_block(1);
  EXPECT_GT(ecore_time_get() - begin, 1.0);
  setrlimit(RLIMIT_NOFILE, &before);
  ExpectServed(sender);
}

// Whether the server has closed the connection.
bool IsClosed(const UniqueFd& sender) {
  char byte;
  return recv(sender.Get(), &byte, 1, MSG_DONTWAIT) == 0;
}

TEST_F(RequestServerTest, DisconnectsOldestOfTooManySilentSenders) {
  RequestServer server(ListenAt(Folder(), "requests"), [](app_control_h) {});
  std::vector<UniqueFd> silent;
  for (size_t i = 0; i <= MessageServer::kMaxSenders; ++i)
    silent.push_back(ConnectTo(Folder(), "requests"));
  EXPECT_TRUE(test::RunLoopUntil([&] { return IsClosed(silent[0]); }));
  EXPECT_NE(Log().find("more than 64 connections with incomplete messages"), std::string::npos);
  EXPECT_FALSE(IsClosed(silent[1]));
  ExpectServed(silent[1]);
  ExpectServed(ConnectTo(Folder(), "requests"));
}

TEST_F(RequestServerTest, DisconnectsSilentSenderAfterTimeout) {
  RequestServer server(ListenAt(Folder(), "requests"), [](app_control_h) {});
  const UniqueFd silent = ConnectTo(Folder(), "requests");
  EXPECT_TRUE(test::RunLoopUntil([&] { return IsClosed(silent); }));
  EXPECT_NE(Log().find("sent no complete message in 10 s"), std::string::npos);
}

}  // namespace
}  // namespace platform
