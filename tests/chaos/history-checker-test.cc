// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The account over histories that are made up: right ones balance, and each wrong one does not.

#include "history-checker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace chaos {
namespace {

using tools::record::Event;
using tools::record::EventKind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr char kWellBehaved[] = "well_behaved";
constexpr char kMisbehaving[] = "misbehaving";

class HistoryCheckerTest : public testing::Test {
 protected:
  HistoryCheckerTest() { Enter(EventKind::kStart, "", ""); }

  Event& Make(EventKind kind, const std::string& uuid, const std::string& handler) {
    event_ = Event();
    event_.kind = kind;
    event_.uuid = uuid;
    event_.handler = handler;
    event_.payload = event_.result = "\"" + uuid + "\"";
    return event_;
  }
  void Enter(EventKind kind, const std::string& uuid, const std::string& handler) {
    checker_.OnEvent(Make(kind, uuid, handler));
  }

  // The library takes the command; the handler is connected.
  void Send(const std::string& uuid, const std::string& handler = kWellBehaved) {
    Enter(EventKind::kSent, uuid, "");
    Enter(EventKind::kRouted, uuid, handler);
    Enter(EventKind::kDelivered, uuid, handler);
    Enter(EventKind::kAccepted, uuid, "");
  }
  void Answer(const std::string& uuid, const std::string& handler = kWellBehaved) {
    Enter(EventKind::kAnswered, uuid, handler);
  }
  void Fire(int timer) { checker_.OnTimerFired(timer); }
  void TimeOut(const std::string& uuid, const std::string& limit = "execution") {
    Make(EventKind::kTimedOut, uuid, "").limit = limit;
    checker_.OnEvent(event_);
  }
  void Connect(const std::string& handler = kWellBehaved) {
    Enter(EventKind::kConnected, "", handler);
  }
  void Deliver(const std::string& uuid) { Enter(EventKind::kDelivered, uuid, kWellBehaved); }

  // What is wrong in the end, and with which command.
  std::vector<std::pair<std::string, std::string>> Violations() {
    checker_.Finish();
    std::vector<std::pair<std::string, std::string>> faults;
    for (const Violation& fault : checker_.Violations())
      faults.emplace_back(fault.text, fault.uuid);
    return faults;
  }
  std::map<UntimedReason, int> Waiting() const { return checker_.GetTally().waiting; }

  HistoryChecker checker_{[](const std::string& handler) { return handler == kMisbehaving; }};

 private:
  Event event_;
};

TEST_F(HistoryCheckerTest, BalancesWhenEachEndsOnce) {
  Send("a");
  Answer("a");
  Send("b");
  Fire(2);
  TimeOut("b");
  Send("c");
  checker_.OnAgentExited();
  Enter(EventKind::kStart, "", "");
  Send("d");
  Enter(EventKind::kStopped, "", "");
  EXPECT_THAT(Violations(), IsEmpty());
  const Tally& tally = checker_.GetTally();
  EXPECT_EQ(tally.accepted, 4);
  EXPECT_EQ(tally.answered, 1);
  EXPECT_EQ(tally.timed_out, 1);
  EXPECT_EQ(tally.dropped, 2);
  EXPECT_THAT(tally.waiting, IsEmpty());
}

TEST_F(HistoryCheckerTest, SeesALostCommand) {
  Send("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timer 1 does not fire", "a")));
}

TEST_F(HistoryCheckerTest, SeesALostTimeout) {
  Send("a");
  Fire(1);
  Send("b");
  Answer("b");
  Answer("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("its timer fired, and no timeout was told", "a")));
}

TEST_F(HistoryCheckerTest, SeesASecondAnswer) {
  Send("a");
  Answer("a");
  Answer("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("answered twice over one connection", "a")));
}

TEST_F(HistoryCheckerTest, PutsUpWithAnAnswerThatIsSentAgainAfterALoss) {
  Send("a");
  Answer("a");
  Enter(EventKind::kDisconnected, "", kWellBehaved);
  Answer("a");
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_EQ(checker_.GetTally().late, 1);
}

TEST_F(HistoryCheckerTest, PutsUpWithTheRude) {
  Send("a", kMisbehaving);
  Answer("a", kMisbehaving);
  Answer("a", kMisbehaving);
  Answer("nobody's", kMisbehaving);
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_EQ(checker_.GetTally().unsolicited, 1);
}

TEST_F(HistoryCheckerTest, SeesASecondTimeout) {
  Send("a");
  Fire(1);
  TimeOut("a");
  TimeOut("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timed out, but not pending", "a")));
}

TEST_F(HistoryCheckerTest, SeesATimeoutOfOneThatWasAnswered) {
  Send("a");
  Answer("a");
  Fire(1);
  TimeOut("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timer 1 fired, which by the rules had ended", ""),
                                        Pair("timed out, but not pending", "a")));
}

TEST_F(HistoryCheckerTest, SeesATimeoutWithoutATimer) {
  Send("a");
  TimeOut("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timed out without a timer", "a"),
                                        Pair("timer 1 does not fire", "")));
}

TEST_F(HistoryCheckerTest, SeesTheWrongLimit) {
  Send("a");
  Fire(1);
  TimeOut("a", "connection");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timed out by the wrong limit", "a")));
}

TEST_F(HistoryCheckerTest, SeesAnAnswerOfAnother) {
  Send("a");
  Answer("a", "somebody");
  Answer("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("answered by one who was not asked", "a")));
}

TEST_F(HistoryCheckerTest, SeesTheResultOfAnotherCommand) {
  Send("a");
  Event& answer = Make(EventKind::kAnswered, "a", kWellBehaved);
  answer.result = "\"b\"";
  checker_.OnEvent(answer);
  EXPECT_THAT(Violations(), ElementsAre(Pair("answered with another one's result", "a")));
}

TEST_F(HistoryCheckerTest, SeesWhatWasRefusedAnswered) {
  Enter(EventKind::kSent, "a", "");
  Enter(EventKind::kRouted, "a", kWellBehaved);
  Enter(EventKind::kRefused, "a", "");
  Answer("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("answered, but never taken", "a")));
}

TEST_F(HistoryCheckerTest, SeesADeliveryAfterTheEnd) {
  Send("a");
  Answer("a");
  Deliver("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("delivered, but not pending", "a")));
}

TEST_F(HistoryCheckerTest, NamesTheRuleOfThoseThatLostTheirTimersWhenTheListGrew) {
  Send("a");
  Send("b");
  Fire(2);
  TimeOut("b");
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(UntimedReason::kGrowth, 1)));
}

TEST_F(HistoryCheckerTest, SeesATimerThatShouldHaveEndedWithTheGrowth) {
  Send("a");
  Send("b");
  Fire(1);
  EXPECT_THAT(checker_.Violations(), testing::SizeIs(1));
}

TEST_F(HistoryCheckerTest, NamesTheRuleOfTheLastOneWhenAnotherEnds) {
  Send("a");
  Send("b");
  Answer("a");
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(UntimedReason::kRemoval, 1)));
}

TEST_F(HistoryCheckerTest, NamesTheRuleOfAHandlerThatDoesNotAsk) {
  Send("a");
  Connect();
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(UntimedReason::kConnect, 1)));
}

TEST_F(HistoryCheckerTest, ATimerOutlivesAConnectionThatWasNotTaken) {
  Send("a");
  Connect();
  checker_.OnPortMissing();
  Fire(1);
  TimeOut("a");
  EXPECT_THAT(Violations(), IsEmpty());
}

TEST_F(HistoryCheckerTest, NamesTheRuleOfOneWhoseTimerFiredForItsOldPlace) {
  // Room for four; "b" holds the timer of the second place and moves to the first.
  for (const char* uuid : {"a", "b", "c", "d"}) Send(uuid);
  Connect();
  for (const char* uuid : {"a", "b", "c", "d"}) Deliver(uuid);
  Answer("a");
  Answer("c");
  Answer("d");
  Fire(6);
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(UntimedReason::kMoved, 1)));
}

TEST_F(HistoryCheckerTest, ATimerEndsWhoIsAtItsPlaceByThen) {
  for (const char* uuid : {"a", "b", "c", "d"}) Send(uuid);
  Connect();
  for (const char* uuid : {"a", "b", "c", "d"}) Deliver(uuid);
  Answer("a");
  Fire(6);
  TimeOut("c");
  EXPECT_EQ(checker_.GetTally().timed_out, 1);
  EXPECT_THAT(checker_.Violations(), IsEmpty());
}

TEST_F(HistoryCheckerTest, WhoAsksGetsTimeAnew) {
  Send("a");
  Send("b");
  Connect();
  Deliver("a");
  Deliver("b");
  Fire(3);
  TimeOut("a");
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Waiting(), ElementsAre(Pair(UntimedReason::kRemoval, 1)));
}

}  // namespace
}  // namespace chaos
