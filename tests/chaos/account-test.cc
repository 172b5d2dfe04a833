// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The account over histories that are made up: right ones balance, and each wrong one does not.

#include "account.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace chaos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using tools::record::Event;
using tools::record::EventKind;

constexpr char kPolite[] = "polite";
constexpr char kRude[] = "rude";

class AccountTest : public testing::Test {
 protected:
  AccountTest() { Enter(EventKind::kStart, "", ""); }

  Event& Make(EventKind kind, const std::string& uuid, const std::string& handler) {
    event_ = Event();
    event_.kind = kind;
    event_.uuid = uuid;
    event_.handler = handler;
    event_.payload = event_.result = "\"" + uuid + "\"";
    return event_;
  }
  void Enter(EventKind kind, const std::string& uuid, const std::string& handler) {
    account_.Enter(Make(kind, uuid, handler));
  }

  // The library takes the command; the handler is connected.
  void Send(const std::string& uuid, const std::string& handler = kPolite) {
    Enter(EventKind::kSent, uuid, "");
    Enter(EventKind::kRouted, uuid, handler);
    Enter(EventKind::kDelivered, uuid, handler);
    Enter(EventKind::kAccepted, uuid, "");
  }
  void Answer(const std::string& uuid, const std::string& handler = kPolite) {
    Enter(EventKind::kAnswered, uuid, handler);
  }
  void Fire(int timer) { account_.EnterFired(timer); }
  void TimeOut(const std::string& uuid, const std::string& limit = "execution") {
    Make(EventKind::kTimedOut, uuid, "").limit = limit;
    account_.Enter(event_);
  }
  void Connect(const std::string& handler = kPolite) { Enter(EventKind::kConnected, "", handler); }
  void Deliver(const std::string& uuid) { Enter(EventKind::kDelivered, uuid, kPolite); }

  // What is wrong in the end, and with which command.
  std::vector<std::pair<std::string, std::string>> Faults() {
    account_.Close();
    std::vector<std::pair<std::string, std::string>> faults;
    for (const Fault& fault : account_.Faults()) faults.emplace_back(fault.text, fault.uuid);
    return faults;
  }
  std::map<Rule, int> Waiting() const { return account_.Sums().waiting; }

  Account account_{[](const std::string& handler) { return handler == kRude; }};

 private:
  Event event_;
};

TEST_F(AccountTest, BalancesWhenEachEndsOnce) {
  Send("a");
  Answer("a");
  Send("b");
  Fire(2);
  TimeOut("b");
  Send("c");
  account_.EnterAgentEnded();
  Enter(EventKind::kStart, "", "");
  Send("d");
  Enter(EventKind::kStopped, "", "");
  EXPECT_THAT(Faults(), IsEmpty());
  const Totals& sums = account_.Sums();
  EXPECT_EQ(sums.accepted, 4);
  EXPECT_EQ(sums.answered, 1);
  EXPECT_EQ(sums.timed_out, 1);
  EXPECT_EQ(sums.dropped, 2);
  EXPECT_THAT(sums.waiting, IsEmpty());
}

TEST_F(AccountTest, SeesALostCommand) {
  Send("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("timer 1 does not fire", "a")));
}

TEST_F(AccountTest, SeesALostTimeout) {
  Send("a");
  Fire(1);
  Send("b");
  Answer("b");
  Answer("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("its timer fired, and no timeout was told", "a")));
}

TEST_F(AccountTest, SeesASecondAnswer) {
  Send("a");
  Answer("a");
  Answer("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("answered twice over one connection", "a")));
}

TEST_F(AccountTest, PutsUpWithAnAnswerThatIsSentAgainAfterALoss) {
  Send("a");
  Answer("a");
  Enter(EventKind::kDisconnected, "", kPolite);
  Answer("a");
  EXPECT_THAT(Faults(), IsEmpty());
  EXPECT_EQ(account_.Sums().late, 1);
}

TEST_F(AccountTest, PutsUpWithTheRude) {
  Send("a", kRude);
  Answer("a", kRude);
  Answer("a", kRude);
  Answer("nobody's", kRude);
  EXPECT_THAT(Faults(), IsEmpty());
  EXPECT_EQ(account_.Sums().unasked, 1);
}

TEST_F(AccountTest, SeesASecondTimeout) {
  Send("a");
  Fire(1);
  TimeOut("a");
  TimeOut("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("timed out, but not pending", "a")));
}

TEST_F(AccountTest, SeesATimeoutOfOneThatWasAnswered) {
  Send("a");
  Answer("a");
  Fire(1);
  TimeOut("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("timer 1 fired, which by the rules had ended", ""),
                                    Pair("timed out, but not pending", "a")));
}

TEST_F(AccountTest, SeesATimeoutWithoutATimer) {
  Send("a");
  TimeOut("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("timed out without a timer", "a"),
                                    Pair("timer 1 does not fire", "")));
}

TEST_F(AccountTest, SeesTheWrongLimit) {
  Send("a");
  Fire(1);
  TimeOut("a", "connection");
  EXPECT_THAT(Faults(), ElementsAre(Pair("timed out by the wrong limit", "a")));
}

TEST_F(AccountTest, SeesAnAnswerOfAnother) {
  Send("a");
  Answer("a", "somebody");
  Answer("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("answered by one who was not asked", "a")));
}

TEST_F(AccountTest, SeesTheResultOfAnotherCommand) {
  Send("a");
  Event& answer = Make(EventKind::kAnswered, "a", kPolite);
  answer.result = "\"b\"";
  account_.Enter(answer);
  EXPECT_THAT(Faults(), ElementsAre(Pair("answered with another one's result", "a")));
}

TEST_F(AccountTest, SeesWhatWasRefusedAnswered) {
  Enter(EventKind::kSent, "a", "");
  Enter(EventKind::kRouted, "a", kPolite);
  Enter(EventKind::kRefused, "a", "");
  Answer("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("answered, but never taken", "a")));
}

TEST_F(AccountTest, SeesADeliveryAfterTheEnd) {
  Send("a");
  Answer("a");
  Deliver("a");
  EXPECT_THAT(Faults(), ElementsAre(Pair("delivered, but not pending", "a")));
}

TEST_F(AccountTest, NamesTheRuleOfThoseThatLostTheirTimersWhenTheListGrew) {
  Send("a");
  Send("b");
  Fire(2);
  TimeOut("b");
  EXPECT_THAT(Faults(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(Rule::kGrowth, 1)));
}

TEST_F(AccountTest, SeesATimerThatShouldHaveEndedWithTheGrowth) {
  Send("a");
  Send("b");
  Fire(1);
  EXPECT_THAT(account_.Faults(), testing::SizeIs(1));
}

TEST_F(AccountTest, NamesTheRuleOfTheLastOneWhenAnotherEnds) {
  Send("a");
  Send("b");
  Answer("a");
  EXPECT_THAT(Faults(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(Rule::kRemoval, 1)));
}

TEST_F(AccountTest, NamesTheRuleOfAHandlerThatDoesNotAsk) {
  Send("a");
  Connect();
  EXPECT_THAT(Faults(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(Rule::kConnect, 1)));
}

TEST_F(AccountTest, ATimerOutlivesAConnectionThatWasNotTaken) {
  Send("a");
  Connect();
  account_.EnterNoPort();
  Fire(1);
  TimeOut("a");
  EXPECT_THAT(Faults(), IsEmpty());
}

TEST_F(AccountTest, NamesTheRuleOfOneWhoseTimerFiredForItsOldPlace) {
  // Room for four; "b" holds the timer of the second place and moves to the first.
  for (const char* uuid : {"a", "b", "c", "d"}) Send(uuid);
  Connect();
  for (const char* uuid : {"a", "b", "c", "d"}) Deliver(uuid);
  Answer("a");
  Answer("c");
  Answer("d");
  Fire(6);
  EXPECT_THAT(Faults(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(Rule::kMoved, 1)));
}

TEST_F(AccountTest, ATimerEndsWhoIsAtItsPlaceByThen) {
  for (const char* uuid : {"a", "b", "c", "d"}) Send(uuid);
  Connect();
  for (const char* uuid : {"a", "b", "c", "d"}) Deliver(uuid);
  Answer("a");
  Fire(6);
  TimeOut("c");
  EXPECT_EQ(account_.Sums().timed_out, 1);
  EXPECT_THAT(account_.Faults(), IsEmpty());
}

TEST_F(AccountTest, WhoAsksGetsTimeAnew) {
  Send("a");
  Send("b");
  Connect();
  Deliver("a");
  Deliver("b");
  Fire(3);
  TimeOut("a");
  EXPECT_THAT(Faults(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(Rule::kRemoval, 1)));
}

}  // namespace
}  // namespace chaos
