// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Attacks of an agent on a handler of the SDK: the handler keeps running, within limits, and serves
// the honest agent of this process afterwards.

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/process-identity.h"
#include "security-test.h"

namespace security {
namespace {

constexpr char kHandler[] = "org.example.text.handler";

class HostileAgent : public SecurityTest {
 protected:
  void SetUp() override {
    SecurityTest::SetUp();
    const std::string program = InstalledProgram(kHandler);
    const auto handlers = platform::FindProcesses(
        [&](const platform::Executable& executable) { return executable.path == program; });
    ASSERT_EQ(handlers.size(), 1U);
    handler_ = "/proc/" + std::to_string(handlers[0]);
    descriptors_ = OpenDescriptors();
  }
  void TearDown() override {
    agents_.clear();
    ExpectHonestHandlerServes();
    // The same process, not one that was launched after a crash.
    EXPECT_EQ(std::filesystem::read_symlink(handler_ + "/exe"), InstalledProgram(kHandler));
    // The handler notices the end of a connection in a later iteration of its main loop.
    const auto begin = std::chrono::steady_clock::now();
    while (OpenDescriptors() > descriptors_ + 2 &&
           std::chrono::steady_clock::now() - begin < std::chrono::seconds(30)) {
      ExpectHonestHandlerServes();
    }
    EXPECT_LE(OpenDescriptors(), descriptors_ + 2);
    SecurityTest::TearDown();
  }

  // A process that listens under the name.
  Peer& NewAgent(const std::string& name = "hostile") {
    setenv(platform::kHostNameVariable, name.c_str(), 1);
    agents_.push_back(std::make_unique<Peer>(HOSTILE_AGENT));
    unsetenv(platform::kHostNameVariable);
    EXPECT_EQ(agents_.back()->Ask("listen"), "listening");
    return *agents_.back();
  }
  Peer& NewConnectedAgent() {
    Peer& agent = NewAgent();
    Connect(agent);
    return agent;
  }
  static void Request(Peer& agent) {
    EXPECT_EQ(agent.Ask(std::string("request ") + kHandler), "acknowledged");
  }
  static void Connect(Peer& agent) {
    Request(agent);
    EXPECT_EQ(agent.Ask("accept"), "accepted");
  }

  std::ptrdiff_t OpenDescriptors() const {
    return std::distance(std::filesystem::directory_iterator(handler_ + "/fd"), {});
  }
  // In MiB.
  long ResidentMemory() const {
    long size = 0;
    long resident = 0;
    std::ifstream(handler_ + "/statm") >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE) / (1024 * 1024);
  }

 private:
  std::string handler_;
  std::ptrdiff_t descriptors_ = 0;
  std::vector<std::unique_ptr<Peer>> agents_;
};

TEST_F(HostileAgent, MalformedBytesCloseOnlyItsOwnConnection) {
  Peer& agent = NewAgent();
  const long memory = ResidentMemory();
  int commands = 0;
  for (const char* connection : {"callback", "main"}) {
    for (const char* bytes :
         {"empty-frame", "oversized-frame", "endless-frame", "no-parcel", "half-frame",
          "truncated-parcel", "wrong-types", "negative-lengths", "unknown-kind", "unknown-method",
          "only-a-kind", "unknown-type", "unrequested-replies"}) {
      SCOPED_TRACE(std::string(connection) + ": " + bytes);
      Connect(agent);
      const auto sent_or_disconnected = testing::AnyOf("sent", "disconnected");
      EXPECT_THAT(agent.Ask(std::string("send ") + connection + " " + bytes), sent_or_disconnected);
      EXPECT_THAT(agent.Ask("deliver after-" + std::to_string(++commands) + " 10"),
                  sent_or_disconnected);
      EXPECT_EQ(agent.Ask("close"), "closed");
      ExpectHonestHandlerServes();
    }
  }
  EXPECT_LE(ResidentMemory(), memory + 64);
}

TEST_F(HostileAgent, GetsResultAfterInvalidParcels) {
  Peer& agent = NewConnectedAgent();
  for (const char* bytes : {"wrong-types", "negative-lengths", "unknown-kind", "unknown-method"}) {
    EXPECT_EQ(agent.Ask(std::string("send callback ") + bytes), "sent");
  }
  EXPECT_EQ(agent.Ask("deliver after 10"), "sent");
  EXPECT_EQ(agent.Ask("result"), "after");
}

TEST_F(HostileAgent, CommandFloodUsesLimitedMemory) {
  Peer& agent = NewConnectedAgent();
  const long memory = ResidentMemory();
  // 256 MiB. The agent does not read the results.
  agent.Send("flood 4096 65536");
  for (int i = 0; i < 3; ++i) ExpectHonestHandlerServes();
  EXPECT_LE(ResidentMemory(), memory + 128);
  agent.Kill();
  EXPECT_EQ(agent.NextLineWithoutLoop(), "");
  ExpectHonestHandlerServes();
  EXPECT_LE(ResidentMemory(), memory + 128);
}

TEST_F(HostileAgent, HalfOpenConnectionsDoNotDelayOthers) {
  for (int i = 0; i < 20; ++i) {
    Peer& agent = NewAgent("hostile-" + std::to_string(i));
    Request(agent);
    EXPECT_EQ(agent.Ask(i % 2 == 0 ? "half-open" : "accept-main"), "half-open");
    // A second request of the same agent opens no second connection.
    Request(agent);
    ExpectHonestHandlerServes();
  }
}

TEST_F(HostileAgent, SecondAgentWithTheSameNameWaitsForTheFirstToDisconnect) {
  Peer& first = NewConnectedAgent();
  Peer& second = NewAgent();
  Request(second);
  EXPECT_EQ(first.Ask("deliver one 10"), "sent");
  EXPECT_EQ(first.Ask("result"), "one");
  ExpectHonestHandlerServes();
  EXPECT_EQ(second.Ask("pending"), "none");
  first.Kill();
  Connect(second);
  EXPECT_EQ(second.Ask("deliver two 10"), "sent");
  EXPECT_EQ(second.Ask("result"), "two");
}

TEST_F(HostileAgent, DisconnectionDuringResultLosesNoAnswer) {
  Peer& agent = NewConnectedAgent();
  EXPECT_EQ(agent.Ask("deliver large 1000000"), "sent");
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(agent.Ask("begin-of-result"), "begun");
    EXPECT_EQ(agent.Ask("close"), "closed");
    ExpectHonestHandlerServes();
    // The handler sends the answer again.
    Connect(agent);
  }
  EXPECT_EQ(agent.Ask("result"), "large");
}

TEST_F(HostileAgent, UnrequestedRepliesDoNotAcknowledgeResultsToOthers) {
  Peer& agent = NewConnectedAgent();
  // More would fill the socket, which the handler reads only while it awaits a reply.
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(agent.Ask("send main unrequested-replies"), "sent");
    EXPECT_EQ(agent.Ask("deliver command-" + std::to_string(i) + " 10"), "sent");
    ExpectHonestHandlerServes();
  }
}

}  // namespace
}  // namespace security
