// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "record/record.h"

#include <gmock/gmock.h>

#include "lines.h"

namespace tools::record {

bool operator==(const Segment& a, const Segment& b) {
  return a.phase == b.phase && a.begin == b.begin && a.end == b.end;
}

void PrintTo(const Segment& segment, std::ostream* out) {
  *out << NameOf(segment.phase) << " " << segment.begin << " to " << segment.end;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Command OnlyCommandOf(const std::string& lines) {
  const Record record = RecordOf(lines);
  EXPECT_EQ(record.commands.size(), 1u);
  return record.commands.empty() ? Command() : record.commands.front();
}

std::vector<Outcome> OutcomesOf(const std::string& lines) {
  std::vector<Outcome> outcomes;
  for (const Command& command : RecordOf(lines).commands) outcomes.push_back(command.outcome);
  return outcomes;
}

TEST(Record, IsEmptyWithoutEvents) {
  const Record record = RecordOf("");
  EXPECT_TRUE(record.commands.empty());
  EXPECT_EQ(record.duration, 0);
}

TEST(Record, FollowsACommandThroughALaunch) {
  const Command command = OnlyCommandOf(
      Sent(100, "u") + Routed(101, "u", "h") + Launched(102, "u", "h") + Accepted(110, "u") +
      Connected(150, "h") + Delivered(160, "u", "h") + Answered(200, "u", "h"));
  EXPECT_EQ(command.uuid, "u");
  EXPECT_EQ(command.type, "type");
  EXPECT_EQ(command.payload, "{}");
  EXPECT_EQ(command.handler, "h");
  EXPECT_EQ(command.outcome, Outcome::kSuccess);
  EXPECT_EQ(command.begin, 0);
  EXPECT_EQ(command.launched, 2);
  EXPECT_EQ(command.accepted, 10);
  EXPECT_EQ(command.connected, 50);
  EXPECT_THAT(command.delivered, ElementsAre(60));
  EXPECT_EQ(command.end, 100);
  ASSERT_TRUE(command.answer);
  EXPECT_EQ(command.answer->result, "the result");
  EXPECT_THAT(command.segments,
              ElementsAre(Segment{Phase::kConnecting, 0, 50}, Segment{Phase::kWaiting, 50, 60},
                          Segment{Phase::kExecuting, 60, 100}));
}

TEST(Record, HasNoLaunchForAConnectedHandler) {
  const Command command =
      OnlyCommandOf(Connected(0, "h") + Sent(10, "u") + Routed(10, "u", "h") +
                    Delivered(12, "u", "h") + Accepted(13, "u") + Answered(20, "u", "h", 7));
  EXPECT_EQ(command.outcome, Outcome::kFailure);
  EXPECT_EQ(command.answer->status, 7);
  EXPECT_FALSE(command.launched);
  EXPECT_FALSE(command.connected);
  EXPECT_THAT(command.segments,
              ElementsAre(Segment{Phase::kWaiting, 10, 12}, Segment{Phase::kExecuting, 12, 20}));
}

TEST(Record, DistinguishesTimeoutsAndPhases) {
  const Command connecting = OnlyCommandOf(Sent(0, "u") + Launched(1, "u", "h") +
                                           Connected(9, "other") + TimedOut(50, "u", "connection"));
  EXPECT_EQ(connecting.outcome, Outcome::kConnectionTimeout);
  EXPECT_THAT(connecting.segments, ElementsAre(Segment{Phase::kConnecting, 0, 50}));

  const Command waiting = OnlyCommandOf(Sent(0, "u") + Launched(1, "u", "h") + Connected(9, "h") +
                                        TimedOut(50, "u", "execution"));
  EXPECT_EQ(waiting.outcome, Outcome::kExecutionTimeout);
  EXPECT_THAT(waiting.segments,
              ElementsAre(Segment{Phase::kConnecting, 0, 9}, Segment{Phase::kWaiting, 9, 50}));
}

TEST(Record, KeepsSuccessfulDeliveries) {
  const Command command = OnlyCommandOf(Sent(0, "u") + Delivered(1, "u", "h", -5) +
                                        Delivered(2, "u", "h") + Delivered(3, "u", "h"));
  EXPECT_THAT(command.delivered, ElementsAre(2, 3));
}

TEST(Record, KeepsExtensions) {
  const Command command =
      OnlyCommandOf(Sent(0, "u") + Delivered(1, "u", "h") + Extended(5, "u", 2.5, true) +
                    Extended(9, "u", 1, false) + Answered(20, "u", "h"));
  ASSERT_EQ(command.extensions.size(), 2u);
  EXPECT_EQ(command.extensions[0].time, 5);
  EXPECT_EQ(command.extensions[0].seconds, 2.5);
  EXPECT_TRUE(command.extensions[0].granted);
  EXPECT_FALSE(command.extensions[1].granted);
}

TEST(Record, KeepsLateResultsSeparately) {
  const Command command = OnlyCommandOf(Sent(0, "u") + Delivered(1, "u", "h") +
                                        TimedOut(10, "u", "execution") + Answered(15, "u", "h"));
  EXPECT_EQ(command.outcome, Outcome::kExecutionTimeout);
  EXPECT_EQ(command.end, 10);
  EXPECT_FALSE(command.answer);
  ASSERT_EQ(command.late_answers.size(), 1u);
  EXPECT_EQ(command.late_answers[0].time, 15);
}

TEST(Record, KeepsRejectionsWithTheirReason) {
  const Command command = OnlyCommandOf(Sent(0, "u") + Refused(4, "u", -1073741826));
  EXPECT_EQ(command.outcome, Outcome::kRefused);
  EXPECT_EQ(command.code, -1073741826);
  EXPECT_EQ(command.end, 4);
  EXPECT_EQ(command.handler, "");
  EXPECT_THAT(command.segments, IsEmpty());
  EXPECT_EQ(ReasonOf(command.code), "no handler serves the type (-1073741826)");
  EXPECT_EQ(ReasonOf(-1073741825), "the handler could not be launched (-1073741825)");
}

TEST(Record, IgnoresFailedLaunches) {
  const Command command =
      OnlyCommandOf(Sent(0, "u") + Launched(1, "u", "h", -4) + Refused(4, "u", -1073741825));
  EXPECT_FALSE(command.launched);
  EXPECT_EQ(command.handler, "h");
}

TEST(Record, DropsPendingCommandsAtShutdownAndExit) {
  const auto sent = Sent(0, "u") + Routed(0, "u", "h");
  EXPECT_THAT(OutcomesOf(sent + Line(9, "stopped")), ElementsAre(Outcome::kDropped));
  EXPECT_THAT(OutcomesOf(sent + Line(9, "end")), ElementsAre(Outcome::kDropped));
  EXPECT_THAT(OutcomesOf(sent + Line(9, "end", "", 2)), ElementsAre(Outcome::kUnfinished));
}

TEST(Record, EndsUnfinishedCommandsWithTheRecord) {
  const Command command = OnlyCommandOf(Sent(0, "u") + Delivered(1, "u", "h") + Connected(30, "x"));
  EXPECT_EQ(command.outcome, Outcome::kUnfinished);
  EXPECT_EQ(command.end, 30);
}

TEST(Record, StartsANewCommandForAReusedUuid) {
  EXPECT_THAT(
      OutcomesOf(Sent(0, "u") + Answered(5, "u", "h") + Sent(6, "u") + Answered(9, "u", "h", 1)),
      ElementsAre(Outcome::kSuccess, Outcome::kFailure));
}

TEST(Record, KeepsTheFirstCommandWhenADuplicateIsRejected) {
  EXPECT_THAT(OutcomesOf(Sent(0, "u") + Routed(0, "u", "h") + Sent(5, "u") +
                         Refused(6, "u", -1073741824) + Answered(9, "u", "h")),
              ElementsAre(Outcome::kSuccess, Outcome::kRefused));
}

TEST(Record, DistinguishesEqualUuidsOfTwoHandlers) {
  EXPECT_THAT(OutcomesOf(Sent(0, "u") + Routed(0, "u", "h1") + Sent(1, "u") + Routed(1, "u", "h2") +
                         Answered(5, "u", "h1") + Answered(6, "u", "h2", 1)),
              ElementsAre(Outcome::kSuccess, Outcome::kFailure));
}

TEST(Record, DistinguishesEqualUuidsOfTwoAgents) {
  EXPECT_THAT(OutcomesOf(Sent(0, "u", "type", 1) + Sent(1, "u", "type", 2) +
                         Answered(5, "u", "h", 0, 1) + Answered(6, "u", "h", 1, 2)),
              ElementsAre(Outcome::kSuccess, Outcome::kFailure));
}

TEST(Record, KeepsUnsolicitedAnswers) {
  const Command command = OnlyCommandOf(Answered(5, "u", "h"));
  EXPECT_EQ(command.outcome, Outcome::kUnsolicited);
  EXPECT_EQ(command.handler, "h");
  EXPECT_EQ(command.late_answers.size(), 1u);
}

TEST(Record, KeepsConnectionsOfHandlers) {
  const Record record =
      RecordOf(Connected(10, "h", "1") + Connected(20, "h", "1", false) + Connected(30, "h", "2") +
               Connected(35, "other", "3") + Line(40, "stopped") + Line(50, "end"));
  ASSERT_EQ(record.handlers.size(), 2u);
  ASSERT_EQ(record.handlers[0].connections.size(), 2u);
  EXPECT_EQ(record.handlers[0].connections[0].begin, 0);
  EXPECT_EQ(record.handlers[0].connections[0].end, 10);
  EXPECT_EQ(record.handlers[0].connections[1].begin, 20);
  EXPECT_EQ(record.handlers[0].connections[1].end, 30);
  EXPECT_EQ(record.handlers[1].id, "other");
  EXPECT_EQ(record.duration, 40);
}

TEST(Record, KeepsExitsOfHandlers) {
  const Record record =
      RecordOf(Connected(10, "h") + Exited(30, "h", 3) + Exited(40, "other", 0, 9));
  ASSERT_EQ(record.handlers.size(), 2u);
  ASSERT_EQ(record.handlers[0].exits.size(), 1u);
  const Exit& exit = record.handlers[0].exits[0];
  EXPECT_EQ(exit.time, 20);
  EXPECT_EQ(exit.process, 1);
  EXPECT_EQ(exit.handler_process, 7);
  EXPECT_EQ(exit.status, 3);
  EXPECT_EQ(exit.text, "exited with status 3");
  EXPECT_EQ(record.handlers[1].exits[0].signal, 9);
}

TEST(Record, AddsDisconnectionsAndExitsToPendingCommandsOfTheHandler) {
  const Record record =
      RecordOf(Sent(0, "ended") + Answered(1, "ended", "h") + Sent(2, "pending") +
               Routed(2, "pending", "h") + Sent(3, "other") + Routed(3, "other", "g") +
               Sent(4, "foreign", "type", 2) + Routed(4, "foreign", "h", 2) +
               Connected(10, "h", "i", false) + Exited(11, "h", 3));
  ASSERT_EQ(record.commands.size(), 4u);
  for (const Command& command : record.commands) {
    const bool is_affected = command.uuid == "pending";
    EXPECT_EQ(command.disconnected.size(), is_affected ? 1u : 0u) << command.uuid;
    EXPECT_EQ(command.exits.size(), is_affected ? 1u : 0u) << command.uuid;
  }
  EXPECT_THAT(record.commands[1].disconnected, ElementsAre(10));
  EXPECT_EQ(record.commands[1].exits[0].time, 11);
}

TEST(Record, LimitsTheInterruptionsOfACommand) {
  std::string lines = Sent(0, "u") + Routed(0, "u", "h");
  for (int i = 1; i <= 20; ++i) lines += Connected(i, "h", "i", false) + Exited(i, "h", i);
  const Command command = OnlyCommandOf(lines);
  EXPECT_EQ(command.disconnected.size(), kMaxInterruptions);
  ASSERT_EQ(command.exits.size(), kMaxInterruptions);
  EXPECT_EQ(command.exits[0].status, 1);
}

TEST(Record, KeepsAgentsAndTheStartTime) {
  const Record record =
      RecordOf(Line(1, "start", R"(,"program":"one","wall":1700000000000000)", 11) +
               Line(2, "start", R"(,"program":"two","wall":1700000000000001)", 12));
  ASSERT_EQ(record.agents.size(), 2u);
  EXPECT_EQ(record.agents[0].program, "one");
  EXPECT_EQ(record.agents[1].process, 12);
  EXPECT_EQ(record.wall, 1700000000000000);
}

}  // namespace
}  // namespace tools::record
