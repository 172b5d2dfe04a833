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
constexpr char kThief[] = "org.example.thief";

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
  Peer thief(InstallAttacker(kThief));
  Connect(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, "payload"), 0);
  EXPECT_EQ(victim.Ask("next"), "secret org.example.victim");
  // Fetching commands does not return the pending command of the other handler.
  Connect(thief);
  EXPECT_EQ(thief.Ask("fetch"), "sent");
  EXPECT_EQ(thief.Ask("ask secret 60"), "reply false");
  EXPECT_EQ(thief.Ask("waiting"), "0");
  EXPECT_EQ(thief.Ask("result secret stolen"), "reply true");
  EXPECT_EQ(ResultsOf("secret"), (std::vector<std::string>{"stolen"}));
  // The command is still pending.
  EXPECT_EQ(GetAgent().Send("secret", kVictim, ""), QOR_HANDLER_MANAGER_ERROR_UNKNOWN);
  EXPECT_EQ(victim.Ask("ask secret 60"), "reply true");
  EXPECT_EQ(victim.Ask("result secret own"), "reply true");
  EXPECT_EQ(ResultsOf("secret"), (std::vector<std::string>{"stolen", "own"}));
  EXPECT_EQ(victim.Ask("ask secret 60"), "reply false");
  ExpectHonestHandlerServes();
}

TEST_F(Answers, TruncatedAnswerCompletesOnlyTheOwnCommand) {
  Peer victim(InstallAttacker(kVictim));
  Peer thief(InstallAttacker(kThief));
  Connect(victim);
  Connect(thief);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  ASSERT_EQ(GetAgent().Send("bait", kThief, ""), 0);
  EXPECT_EQ(thief.Ask("next"), "bait org.example.thief");
  EXPECT_EQ(thief.Ask("begin-result bait"), "reply true");
  const auto response = AwaitResponse("bait");
  EXPECT_EQ(response.status, QOR_REQUEST_STATUS_SUCCESS);
  EXPECT_EQ(response.result, "");
  EXPECT_EQ(response.error, "");
  EXPECT_EQ(thief.Ask("ask bait 60"), "reply false");
  EXPECT_EQ(victim.Ask("ask secret 60"), "reply true");
  ExpectHonestHandlerServes();
}

TEST_F(Answers, OfUnregisteredApplicationAreDropped) {
  Peer victim(InstallAttacker(kVictim));
  Connect(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  EXPECT_EQ(victim.Ask("next"), "secret org.example.victim");
  Peer thief(InstallNonHandler(kThief));
  ExpectOneLine("Received FetchCommands request from non-registered handler",
                [&] { Connect(thief); });
  EXPECT_EQ(thief.Ask("waiting"), "0");
  ExpectOneLine("Received SendResult request from non-registered handler",
                [&] { EXPECT_EQ(thief.Ask("result secret stolen"), "reply true"); });
  EXPECT_EQ(ResultsOf("secret"), std::vector<std::string>());
}

TEST_F(Answers, NanExtensionLeavesTimersOfOthersRunning) {
  constexpr int kTimeout = 1000;
  StopAgent();
  StartAgent(kTimeout, kTimeout);
  Peer thief(InstallAttacker(kThief));
  Connect(thief);
  ASSERT_EQ(GetAgent().Send("bait", kThief, ""), 0);
  ASSERT_EQ(thief.Ask("next"), "bait org.example.thief");
  for (const char* seconds : {"nan", "-nan"}) {
    EXPECT_EQ(thief.Ask(std::string("ask bait ") + seconds), "reply false");
  }
  Peer victim(InstallAttacker(kVictim));
  Connect(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  EXPECT_EQ(AwaitResponse("bait").status, QOR_REQUEST_STATUS_FAILED);
  EXPECT_EQ(AwaitResponse("secret").status, QOR_REQUEST_STATUS_FAILED);
}

}  // namespace
}  // namespace security
