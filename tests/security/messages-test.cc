// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The sockets for package events and launch requests, which every process of the user can reach.

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "platform/linux/common/message-server.h"
#include "security-test.h"

namespace security {
namespace {

constexpr char kTextPackage[] = "org.example.text";
constexpr char kTextHandler[] = "org.example.text.handler";

class Messages : public SecurityTest {
 protected:
  static std::string Listener() { return std::to_string(getpid()); }

  static std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }
};

TEST_F(Messages, ThatAreForgedEventsChangeNoHandler) {
  const size_t updates = TheAgent().Updates().size();
  Peer attacker;
  // Uninstalled: started, half done, completed. Installed and updated, which is not so.
  for (const char* forged : {"0 1 org.example.text", "1 1 org.example.text", "2 1 org.example.text",
                             "2 0 org.example.none", "2 2 org.example.none"}) {
    ExpectOneLine("dropped a false event of process", [&] {
      EXPECT_EQ(attacker.Ask("forge-event " + Listener() + " " + forged), "heard");
    });
  }
  EXPECT_EQ(TheAgent().Updates().size(), updates);
  // A true one is heard.
  Uninstall(kTextPackage);
  EXPECT_TRUE(AwaitUpdates(updates + 1));
  Install("text");
  EXPECT_TRUE(AwaitUpdates(updates + 2));
  ExpectUnharmed();
}

TEST_F(Messages, ThatAreForgedWithoutEndFillNoLog) {
  Peer attacker;
  testing::internal::CaptureStderr();
  attacker.Tell("forge-on " + Listener() + " " + kTextPackage);
  for (int i = 0; i < 100; ++i) ExpectUnharmed();
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_LE(std::count(log.begin(), log.end(), '\n'), 25) << log;
}

TEST_F(Messages, ThatNeverComeKeepNoDescriptors) {
  const auto before = OpenDescriptors();
  Peer attacker;
  EXPECT_EQ(attacker.Ask("silent run/events " + Listener() + " 1100"), "opened");
  for (int i = 0; i < 10; ++i) ExpectUnharmed();
  EXPECT_LE(OpenDescriptors(),
            before + static_cast<std::ptrdiff_t>(platform::MessageServer::kMaxSenders) + 10);
  // Events are heard all the same.
  const size_t updates = TheAgent().Updates().size();
  Install("silent");
  EXPECT_TRUE(AwaitUpdates(updates + 1));
  ExpectUnharmed();
}

TEST_F(Messages, ThatNeverComeKeepNoHandlerFromItsRequests) {
  Peer attacker;
  EXPECT_EQ(attacker.Ask(std::string("silent run/apps ") + kTextHandler + " 1100"), "opened");
  ExpectUnharmed();
}

// Before the handler runs.
class LaunchRequests : public Messages {
 protected:
  void SetUp() override {
    Install("text");
    StartAgent();
  }
};

TEST_F(LaunchRequests, AreNotHandedToAnotherProcess) {
  Peer attacker;
  EXPECT_EQ(attacker.Ask(std::string("take-place ") + kTextHandler), "taken");
  ExpectOneLine(std::string("listens for ") + kTextHandler + " and is not that application",
                [&] { ExpectUnharmed(); });
  EXPECT_EQ(attacker.Ask("stolen"), "0");
}

}  // namespace
}  // namespace security
