// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// One handler and the commands of another.

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
  // Every answer that the client got for a command.
  std::vector<std::string> ResultsOf(const std::string& uuid) {
    std::vector<std::string> results;
    for (const auto& response : GetAgent().Responses()) {
      if (response.uuid == uuid) results.push_back(response.result);
    }
    return results;
  }
};

TEST_F(Answers, ByAnotherHandlerAreToldButEndNoCommandOfTheOther) {
  Peer victim(InstallAttacker(kVictim));
  Peer thief(InstallAttacker(kThief));
  Attach(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, "payload"), 0);
  EXPECT_EQ(victim.Ask("next"), "secret org.example.victim");
  // Asks for commands while one waits at the other: gets none.
  Attach(thief);
  EXPECT_EQ(thief.Ask("fetch"), "sent");
  EXPECT_EQ(thief.Ask("ask secret 60"), "told false");
  EXPECT_EQ(thief.Ask("waiting"), "0");
  EXPECT_EQ(thief.Ask("result secret stolen"), "told true");
  EXPECT_EQ(ResultsOf("secret"), (std::vector<std::string>{"stolen"}));
  // It waits as before.
  EXPECT_EQ(GetAgent().Send("secret", kVictim, ""), QOR_HANDLER_MANAGER_ERROR_UNKNOWN);
  EXPECT_EQ(victim.Ask("ask secret 60"), "told true");
  EXPECT_EQ(victim.Ask("result secret own"), "told true");
  EXPECT_EQ(ResultsOf("secret"), (std::vector<std::string>{"stolen", "own"}));
  EXPECT_EQ(victim.Ask("ask secret 60"), "told false");
  ExpectUnharmed();
}

TEST_F(Answers, ThatAreCutShortEndOnlyTheOwnCommand) {
  Peer victim(InstallAttacker(kVictim));
  Peer thief(InstallAttacker(kThief));
  Attach(victim);
  Attach(thief);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  ASSERT_EQ(GetAgent().Send("bait", kThief, ""), 0);
  EXPECT_EQ(thief.Ask("next"), "bait org.example.thief");
  EXPECT_EQ(thief.Ask("begin-result bait"), "told true");
  const auto response = AwaitResponse("bait");
  EXPECT_EQ(response.status, QOR_REQUEST_STATUS_SUCCESS);
  EXPECT_EQ(response.result, "");
  EXPECT_EQ(response.error, "");
  EXPECT_EQ(thief.Ask("ask bait 60"), "told false");
  EXPECT_EQ(victim.Ask("ask secret 60"), "told true");
  ExpectUnharmed();
}

TEST_F(Answers, OfAnApplicationThatIsNoHandlerReachNobody) {
  Peer victim(InstallAttacker(kVictim));
  Attach(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  EXPECT_EQ(victim.Ask("next"), "secret org.example.victim");
  Peer thief(InstallStranger(kThief));
  ExpectOneLine("Received FetchCommands request from non-registered handler",
                [&] { Attach(thief); });
  EXPECT_EQ(thief.Ask("waiting"), "0");
  ExpectOneLine("Received SendResult request from non-registered handler",
                [&] { EXPECT_EQ(thief.Ask("result secret stolen"), "told true"); });
  EXPECT_EQ(ResultsOf("secret"), std::vector<std::string>());
}

TEST_F(Answers, WithAnExtensionThatIsNotANumberLeaveTheTimersOfOthersRunning) {
  constexpr int kTimeout = 1000;
  StopAgent();
  StartAgent(kTimeout, kTimeout);
  Peer thief(InstallAttacker(kThief));
  Attach(thief);
  ASSERT_EQ(GetAgent().Send("bait", kThief, ""), 0);
  ASSERT_EQ(thief.Ask("next"), "bait org.example.thief");
  for (const char* seconds : {"nan", "-nan"}) {
    EXPECT_EQ(thief.Ask(std::string("ask bait ") + seconds), "told false");
  }
  Peer victim(InstallAttacker(kVictim));
  Attach(victim);
  ASSERT_EQ(GetAgent().Send("secret", kVictim, ""), 0);
  EXPECT_EQ(AwaitResponse("bait").status, QOR_REQUEST_STATUS_FAILED);
  EXPECT_EQ(AwaitResponse("secret").status, QOR_REQUEST_STATUS_FAILED);
}

}  // namespace
}  // namespace security
