// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Handlers that exhaust resources: their connections are closed with a log line, and commands of
// others are executed. The benchmarks measure the delay of the others.

#include <signal.h>

#include <string>

#include "security-test.h"

namespace security {
namespace {

constexpr char kId[] = "org.example.attacker";
constexpr char kSendQueueFull[] = "org.example.attacker: send queue full, connection closed";

class Floods : public SecurityTest {
 protected:
  // Exceeds the limit of bytes queued for a connection.
  void SendTooMuch() {
    const std::string payload(1024 * 1024, 'p');
    for (int i = 0; i < 20; ++i) GetAgent().Send("much-" + std::to_string(i), kId, payload);
  }
};

TEST_F(Floods, CommandsToNonReadingHandlerCloseItsConnection) {
  Peer attacker(InstallAttacker(kId));
  Connect(attacker);
  ExpectOneLine(kSendQueueFull, [&] { SendTooMuch(); });
  EXPECT_EQ(attacker.Ask("ask nothing 1"), "disconnected");
}

TEST_F(Floods, CommandsToStoppedHandlerCloseItsConnection) {
  Peer attacker(InstallAttacker(kId));
  Connect(attacker);
  attacker.Signal(SIGSTOP);
  ExpectHonestHandlerServes();
  ExpectOneLine(kSendQueueFull, [&] { SendTooMuch(); });
  // The process may reconnect when it continues.
  attacker.Signal(SIGCONT);
  EXPECT_EQ(Handshake(attacker), "accepted");
}

TEST_F(Floods, CommandsToSlowHandlerCloseItsConnection) {
  Peer attacker(InstallAttacker(kId));
  Connect(attacker);
  ExpectOneLine(kSendQueueFull, [&] {
    const std::string payload(1024 * 1024, 'p');
    for (int i = 0; i < 24; ++i) {
      GetAgent().Send("much-" + std::to_string(i), kId, payload);
      EXPECT_EQ(attacker.Ask("read-byte"), "1");
    }
  });
}

TEST_F(Floods, CallsDoNotStarveOtherHandlers) {
  Peer attacker(InstallAttacker(kId));
  Connect(attacker);
  attacker.Send("flood 100000");
  for (int i = 0; i < 20; ++i) ExpectHonestHandlerServes();
  EXPECT_EQ(attacker.NextLine(), "sent");
  ExpectHonestHandlerServes();
}

TEST_F(Floods, ConnectionsAreLimitedPerApplication) {
  Peer attacker(InstallAttacker(kId));
  const std::string port = AgentId();
  ExpectOneLine("rejected org.example.attacker (process", [&] {
    EXPECT_EQ(attacker.Ask("handshake-many " + port + " 1000"), "16 accepted");
    EXPECT_EQ(Handshake(attacker), "rejected: too many connections (limit 16)");
  });
  // The limit includes other processes of the application.
  Peer second(InstalledProgram(kId));
  EXPECT_EQ(Handshake(second), "rejected: too many connections (limit 16)");
  // Closing a connection allows another.
  EXPECT_EQ(attacker.Ask("close 1"), "closed");
  ExpectHonestHandlerServes();
  EXPECT_EQ(Handshake(second), "accepted");
  EXPECT_EQ(Handshake(attacker), "rejected: too many connections (limit 16)");
}

TEST_F(Floods, SilentConnectionsDoNotBlockOthers) {
  Peer attacker(InstallAttacker(kId));
  ExpectOneLine("more than 64 pending connections", [&] {
    EXPECT_EQ(attacker.Ask("open " + AgentId() + " 1000"), "opened");
    for (int i = 0; i < 10; ++i) ExpectHonestHandlerServes();
    Peer other(InstalledProgram(kId));
    Connect(other);
  });
}

}  // namespace
}  // namespace security
