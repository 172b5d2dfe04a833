// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Handlers that use up what they can get: their connections end, with a line that says why, and
// everybody else's commands are served. How long the others wait is measured by the benchmarks.

#include <signal.h>

#include <string>

#include "security-test.h"

namespace security {
namespace {

constexpr char kId[] = "org.example.attacker";
constexpr char kTakesNothing[] = "org.example.attacker: send queue full, connection closed";

class Floods : public SecurityTest {
 protected:
  // More than may wait for a handler that does not read.
  void SendTooMuch() {
    const std::string payload(1024 * 1024, 'p');
    for (int i = 0; i < 20; ++i) GetAgent().Send("much-" + std::to_string(i), kId, payload);
  }
};

TEST_F(Floods, OfCommandsToAHandlerThatNeverReadsEndItsConnection) {
  Peer attacker(InstallAttacker(kId));
  Attach(attacker);
  ExpectOneLine(kTakesNothing, [&] { SendTooMuch(); });
  EXPECT_EQ(attacker.Ask("ask nothing 1"), "gone");
}

TEST_F(Floods, OfCommandsToAHandlerThatIsStoppedEndItsConnection) {
  Peer attacker(InstallAttacker(kId));
  Attach(attacker);
  attacker.Signal(SIGSTOP);
  ExpectUnharmed();
  ExpectOneLine(kTakesNothing, [&] { SendTooMuch(); });
  // It may begin anew when it goes on.
  attacker.Signal(SIGCONT);
  EXPECT_EQ(Greet(attacker), "accepted");
}

TEST_F(Floods, OfCommandsToAHandlerThatReadsTooSlowlyEndItsConnection) {
  Peer attacker(InstallAttacker(kId));
  Attach(attacker);
  ExpectOneLine(kTakesNothing, [&] {
    const std::string payload(1024 * 1024, 'p');
    for (int i = 0; i < 24; ++i) {
      GetAgent().Send("much-" + std::to_string(i), kId, payload);
      EXPECT_EQ(attacker.Ask("bite"), "1");
    }
  });
}

TEST_F(Floods, OfCallsLeaveOthersTheirTurn) {
  Peer attacker(InstallAttacker(kId));
  Attach(attacker);
  attacker.Tell("flood 100000");
  for (int i = 0; i < 20; ++i) ExpectUnharmed();
  EXPECT_EQ(attacker.NextLine(), "sent");
  ExpectUnharmed();
}

TEST_F(Floods, OfConnectionsEndAtTheLimitOfAnApplication) {
  Peer attacker(InstallAttacker(kId));
  const std::string port = AgentId();
  ExpectOneLine("rejected org.example.attacker (process", [&] {
    EXPECT_EQ(attacker.Ask("greet-often " + port + " 1000"), "16 accepted");
    EXPECT_EQ(Greet(attacker), "refused: too many connections (limit 16)");
  });
  // Of other processes of the application too.
  Peer second(InstalledProgram(kId));
  EXPECT_EQ(Greet(second), "refused: too many connections (limit 16)");
  // One that ends makes room for one.
  EXPECT_EQ(attacker.Ask("close 1"), "closed");
  ExpectUnharmed();
  EXPECT_EQ(Greet(second), "accepted");
  EXPECT_EQ(Greet(attacker), "refused: too many connections (limit 16)");
}

TEST_F(Floods, OfConnectionsThatSayNothingKeepNobodyOut) {
  Peer attacker(InstallAttacker(kId));
  ExpectOneLine("more than 64 pending connections", [&] {
    EXPECT_EQ(attacker.Ask("open " + AgentId() + " 1000"), "opened");
    for (int i = 0; i < 10; ++i) ExpectUnharmed();
    Peer other(InstalledProgram(kId));
    Attach(other);
  });
}

}  // namespace
}  // namespace security
