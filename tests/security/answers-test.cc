// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Answers of a handler to commands of another.

#include <algorithm>
#include <string>
#include <vector>

#include "security-test.h"

namespace security {
namespace {

constexpr char kVictim[] = "org.example.victim";
constexpr char kAttacker[] = "org.example.attacker";

class Answers : public SecurityTest {
 protected:
  // All results that the client received for a command.
  std::vector<std::string> ResultsOf(const std::string& uuid) {
    std::vector<std::string> results;
    for (const auto& response : GetAgent().Responses()) {
      if (response.uuid == uuid) results.push_back(response.result);
    }
    return results;
  }
};

TEST_F(Answers, OfAnotherHandlerReachClientButCompleteNoCommand) {
  Peer victim(InstallAttacker(kVictim));
  Peer attacker(InstallAttacker(kAttacker));
  Connect(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, "payload"), 0);
  EXPECT_EQ(victim.Ask("next"), "secret org.example.victim");
  // Fetching commands does not return the pending command of the other handler.
  Connect(attacker);
  EXPECT_EQ(attacker.Ask("fetch"), "sent");
  EXPECT_EQ(attacker.Ask("ask secret 60"), "reply false");
  EXPECT_EQ(attacker.Ask("waiting"), "0");
  EXPECT_EQ(attacker.Ask("result secret forged"), "reply true");
  EXPECT_EQ(ResultsOf("secret"), (std::vector<std::string>{"forged"}));
  // The command is still pending.
  EXPECT_EQ(GetAgent().Send("secret", kVictim, ""), QOR_HANDLER_MANAGER_ERROR_UNKNOWN);
  EXPECT_EQ(victim.Ask("ask secret 60"), "reply true");
  EXPECT_EQ(victim.Ask("result secret own"), "reply true");
  EXPECT_EQ(ResultsOf("secret"), (std::vector<std::string>{"forged", "own"}));
  EXPECT_EQ(victim.Ask("ask secret 60"), "reply false");
  ExpectHonestHandlerServes();
}

TEST_F(Answers, TruncatedAnswerCompletesOnlyTheOwnCommand) {
  Peer victim(InstallAttacker(kVictim));
  Peer attacker(InstallAttacker(kAttacker));
  Connect(victim);
  Connect(attacker);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  ASSERT_EQ(GetAgent().Send("own", kAttacker, ""), 0);
  EXPECT_EQ(attacker.Ask("next"), "own org.example.attacker");
  EXPECT_EQ(attacker.Ask("begin-result own"), "reply true");
  const auto response = AwaitResponse("own");
  EXPECT_EQ(response.status, QOR_REQUEST_STATUS_SUCCESS);
  EXPECT_EQ(response.result, "");
  EXPECT_EQ(response.error, "");
  EXPECT_EQ(attacker.Ask("ask own 60"), "reply false");
  EXPECT_EQ(victim.Ask("ask secret 60"), "reply true");
  ExpectHonestHandlerServes();
}

TEST_F(Answers, OfUnregisteredApplicationAreDropped) {
  Peer victim(InstallAttacker(kVictim));
  Connect(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  EXPECT_EQ(victim.Ask("next"), "secret org.example.victim");
  Peer attacker(InstallNonHandler(kAttacker));
  ExpectOneLine("Received FetchCommands request from non-registered handler",
                [&] { Connect(attacker); });
  EXPECT_EQ(attacker.Ask("waiting"), "0");
  ExpectOneLine("Received SendResult request from non-registered handler",
                [&] { EXPECT_EQ(attacker.Ask("result secret forged"), "reply true"); });
  EXPECT_EQ(ResultsOf("secret"), std::vector<std::string>());
}

TEST_F(Answers, NanExtensionLeavesTimersOfOthersRunning) {
  constexpr int kTimeout = 1000;
  StopAgent();
  StartAgent(kTimeout, kTimeout);
  Peer attacker(InstallAttacker(kAttacker));
  Connect(attacker);
  ASSERT_EQ(GetAgent().Send("own", kAttacker, ""), 0);
  ASSERT_EQ(attacker.Ask("next"), "own org.example.attacker");
  for (const char* seconds : {"nan", "-nan"}) {
    EXPECT_EQ(attacker.Ask(std::string("ask own ") + seconds), "reply false");
  }
  Peer victim(InstallAttacker(kVictim));
  Connect(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  EXPECT_EQ(AwaitResponse("own").status, QOR_REQUEST_STATUS_FAILED);
  EXPECT_EQ(AwaitResponse("secret").status, QOR_REQUEST_STATUS_FAILED);
}

}  // namespace
}  // namespace security
