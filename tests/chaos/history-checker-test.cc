// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The checker on synthetic histories: it accepts the correct ones and reports each violation.

#include "history-checker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace chaos {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using tools::record::Event;
using tools::record::EventKind;

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

  // The library accepts the command and delivers it to a connected handler.
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

  // The text and uuid of each violation at the end of the history.
  std::vector<std::pair<std::string, std::string>> Violations() {
    checker_.Finish();
    std::vector<std::pair<std::string, std::string>> violations;
    for (const Violation& violation : checker_.Violations())
      violations.emplace_back(violation.text, violation.uuid);
    return violations;
  }
  std::map<UntimedReason, int> Untimed() const { return checker_.GetTally().untimed; }

  HistoryChecker checker_{[](const std::string& handler) { return handler == kMisbehaving; }};

 private:
  Event event_;
};

TEST_F(HistoryCheckerTest, AcceptsHistoryWhereEachCommandEndsOnce) {
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
  EXPECT_THAT(tally.untimed, IsEmpty());
}

TEST_F(HistoryCheckerTest, ReportsLostCommand) {
  Send("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timer 1 has not fired", "a")));
}

TEST_F(HistoryCheckerTest, ReportsLostTimeout) {
  Send("a");
  Fire(1);
  Send("b");
  Answer("b");
  Answer("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timer fired without a timeout", "a")));
}

TEST_F(HistoryCheckerTest, ReportsSecondAnswerOnOneConnection) {
  Send("a");
  Answer("a");
  Answer("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("answered twice on one connection", "a")));
}

TEST_F(HistoryCheckerTest, AcceptsAnswerResentAfterDisconnection) {
  Send("a");
  Answer("a");
  Enter(EventKind::kDisconnected, "", kWellBehaved);
  Answer("a");
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_EQ(checker_.GetTally().late, 1);
}

TEST_F(HistoryCheckerTest, AcceptsRepeatedAnswersOfMisbehavingHandlers) {
  Send("a", kMisbehaving);
  Answer("a", kMisbehaving);
  Answer("a", kMisbehaving);
  Answer("nobody's", kMisbehaving);
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_EQ(checker_.GetTally().unsolicited, 1);
}

TEST_F(HistoryCheckerTest, ReportsSecondTimeout) {
  Send("a");
  Fire(1);
  TimeOut("a");
  TimeOut("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timed out, but not pending", "a")));
}

TEST_F(HistoryCheckerTest, ReportsTimeoutOfAnsweredCommand) {
  Send("a");
  Answer("a");
  Fire(1);
  TimeOut("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timer 1 fired, but should have been deleted", ""),
                                        Pair("timed out, but not pending", "a")));
}

TEST_F(HistoryCheckerTest, ReportsTimeoutWithoutTimer) {
  Send("a");
  TimeOut("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timed out without a timer", "a"),
                                        Pair("timer 1 has not fired", "")));
}

TEST_F(HistoryCheckerTest, ReportsWrongTimeout) {
  Send("a");
  Fire(1);
  TimeOut("a", "connection");
  EXPECT_THAT(Violations(), ElementsAre(Pair("timed out by the wrong timeout", "a")));
}

TEST_F(HistoryCheckerTest, ReportsAnswerOfWrongHandler) {
  Send("a");
  Answer("a", "somebody");
  Answer("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("answered by the wrong handler", "a")));
}

TEST_F(HistoryCheckerTest, ReportsResultOfAnotherCommand) {
  Send("a");
  Event& answer = Make(EventKind::kAnswered, "a", kWellBehaved);
  answer.result = "\"b\"";
  checker_.OnEvent(answer);
  EXPECT_THAT(Violations(), ElementsAre(Pair("answered with the result of another command", "a")));
}

TEST_F(HistoryCheckerTest, ReportsAnswerToRefusedCommand) {
  Enter(EventKind::kSent, "a", "");
  Enter(EventKind::kRouted, "a", kWellBehaved);
  Enter(EventKind::kRefused, "a", "");
  Answer("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("answered, but not accepted", "a")));
}

TEST_F(HistoryCheckerTest, ReportsDeliveryOfEndedCommand) {
  Send("a");
  Answer("a");
  Deliver("a");
  EXPECT_THAT(Violations(), ElementsAre(Pair("delivered, but not pending", "a")));
}

TEST_F(HistoryCheckerTest, CountsCommandsUntimedByGrowth) {
  Send("a");
  Send("b");
  Fire(2);
  TimeOut("b");
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Untimed(), ElementsAre(Pair(UntimedReason::kGrowth, 1)));
}

TEST_F(HistoryCheckerTest, ReportsTimerThatOutlivesGrowth) {
  Send("a");
  Send("b");
  Fire(1);
  EXPECT_THAT(checker_.Violations(), testing::SizeIs(1));
}

TEST_F(HistoryCheckerTest, CountsLastCommandUntimedByRemoval) {
  Send("a");
  Send("b");
  Answer("a");
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Untimed(), ElementsAre(Pair(UntimedReason::kRemoval, 1)));
}

TEST_F(HistoryCheckerTest, CountsCommandsUntimedByConnection) {
  Send("a");
  Connect();
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Untimed(), ElementsAre(Pair(UntimedReason::kConnect, 1)));
}

TEST_F(HistoryCheckerTest, KeepsTimerWhenConnectionHasNoPort) {
  Send("a");
  Connect();
  checker_.OnPortMissing();
  Fire(1);
  TimeOut("a");
  EXPECT_THAT(Violations(), IsEmpty());
}

TEST_F(HistoryCheckerTest, CountsCommandUntimedByMove) {
  // The list has capacity for four; "b" owns the timer of the second position and moves to the
  // first.
  for (const char* uuid : {"a", "b", "c", "d"}) Send(uuid);
  Connect();
  for (const char* uuid : {"a", "b", "c", "d"}) Deliver(uuid);
  Answer("a");
  Answer("c");
  Answer("d");
  Fire(6);
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Untimed(), ElementsAre(Pair(UntimedReason::kMoved, 1)));
}

TEST_F(HistoryCheckerTest, ExpiresCommandAtPositionOfTimer) {
  for (const char* uuid : {"a", "b", "c", "d"}) Send(uuid);
  Connect();
  for (const char* uuid : {"a", "b", "c", "d"}) Deliver(uuid);
  Answer("a");
  Fire(6);
  TimeOut("c");
  EXPECT_EQ(checker_.GetTally().timed_out, 1);
  EXPECT_THAT(checker_.Violations(), IsEmpty());
}

TEST_F(HistoryCheckerTest, RestartsTimersWhenHandlerRequestsCommands) {
  Send("a");
  Send("b");
  Connect();
  Deliver("a");
  Deliver("b");
  Fire(3);
  TimeOut("a");
  EXPECT_THAT(Violations(), IsEmpty());
  EXPECT_THAT(Untimed(), ElementsAre(Pair(UntimedReason::kRemoval, 1)));
}

}  // namespace
}  // namespace chaos
