// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Attacks on the sockets for package events and launch requests, which all processes of the user
// can reach.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "platform/linux/common/message-server.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/root-folder.h"
#include "security-test.h"

namespace security {
namespace {

using platform::ConnectTo;
using platform::UniqueFd;

constexpr char kTextPackage[] = "org.example.text";
constexpr char kTextHandler[] = "org.example.text.handler";

class Messages : public SecurityTest {
 protected:
  static std::string Listener() { return std::to_string(getpid()); }

  static std::ptrdiff_t OpenDescriptors(const std::string& process = "/proc/self") {
    return std::distance(std::filesystem::directory_iterator(process + "/fd"), {});
  }
};

TEST_F(Messages, ForgedEventsChangeNoHandler) {
  const size_t updates = GetAgent().Updates().size();
  Peer attacker;
  // Uninstalling: started, in progress, completed. Then events of a package that does not exist.
  for (const char* forged : {"0 1 org.example.text", "1 1 org.example.text", "2 1 org.example.text",
                             "2 0 org.example.none", "2 2 org.example.none"}) {
    ExpectOneLine("dropped a forged event from process", [&] {
      EXPECT_EQ(attacker.Ask("forge-event " + Listener() + " " + forged), "acknowledged");
    });
  }
  EXPECT_EQ(GetAgent().Updates().size(), updates);
  // Genuine events are processed.
  Uninstall(kTextPackage);
  EXPECT_TRUE(AwaitUpdates(updates + 1));
  Install("text");
  EXPECT_TRUE(AwaitUpdates(updates + 2));
  ExpectHonestHandlerServes();
}

TEST_F(Messages, EndlessForgedEventsDoNotFillLog) {
  Peer attacker;
  testing::internal::CaptureStderr();
  attacker.Send("forge-on " + Listener() + " " + kTextPackage);
  for (int i = 0; i < 1000; ++i) ExpectHonestHandlerServes();
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_LE(std::count(log.begin(), log.end(), '\n'), 110) << log;
}

TEST_F(Messages, SilentSendersUseLimitedDescriptors) {
  const auto before = OpenDescriptors();
  Peer attacker;
  EXPECT_EQ(attacker.Ask("silent run/events " + Listener() + " 1100"), "opened");
  for (int i = 0; i < 10; ++i) ExpectHonestHandlerServes();
  EXPECT_LE(OpenDescriptors(),
            before + static_cast<std::ptrdiff_t>(platform::MessageServer::kMaxSenders) + 10);
  // Events still arrive.
  const size_t updates = GetAgent().Updates().size();
  Install("silent");
  EXPECT_TRUE(AwaitUpdates(updates + 1));
  ExpectHonestHandlerServes();
}

TEST_F(Messages, SilentSendersDoNotBlockLaunchRequests) {
  Peer attacker;
  EXPECT_EQ(attacker.Ask(std::string("silent run/apps ") + kTextHandler + " 1100"), "opened");
  // Connections are accepted in order, so the others were accepted when this one is closed.
  const UniqueFd last = ConnectTo(platform::RootPath() + "/run/apps", kTextHandler);
  const uint8_t empty[4] = {};
  ASSERT_EQ(send(last.Get(), empty, sizeof empty, MSG_NOSIGNAL), 4);
  pollfd end = {last.Get(), POLLIN, 0};
  EXPECT_EQ(poll(&end, 1, 60'000), 1);
  const std::string program = InstalledProgram(kTextHandler);
  const auto handlers = platform::FindProcesses(
      [&](const platform::Executable& executable) { return executable.path == program; });
  ASSERT_EQ(handlers.size(), 1U);
  EXPECT_LE(OpenDescriptors("/proc/" + std::to_string(handlers[0])), 64 + 30);
  ExpectHonestHandlerServes();
}

// Before the handler runs.
class LaunchRequests : public Messages {
 protected:
  void SetUp() override {
    Install("text");
    StartAgent();
  }
};

TEST_F(LaunchRequests, AreNotPassedToAnotherListener) {
  Peer attacker;
  EXPECT_EQ(attacker.Ask(std::string("replace-listener ") + kTextHandler), "taken");
  ExpectOneLine(std::string("listens for ") + kTextHandler + " but does not execute it",
                [&] { ExpectHonestHandlerServes(); });
  EXPECT_EQ(attacker.Ask("received-bytes"), "0");
}

}  // namespace
}  // namespace security
