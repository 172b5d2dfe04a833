// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "one-handler-test.h"

namespace {

using support::HandlerPeer;
using support::InstallHandler;
using Strings = std::vector<std::string>;

// Timers and their positions in the list of pending commands.
class LogicTimerPositions : public support::OneHandlerTest {};

TEST_F(LogicTimerPositions, StopsFirstTimerWhenSecondCommandIsSent) {
  SendAll({"a"});
  fake::Advance(1);
  SendAll({"b"});
  EXPECT_EQ(DueTimes(), std::vector<double>{6.0});
  fake::Advance(1000);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"b"});
}

TEST_F(LogicTimerPositions, StopsEarlierTimersWhenListGrows) {
  const std::vector<std::size_t> live{1, 1, 1, 2, 1, 2, 3, 4, 1, 2};
  for (std::size_t i = 0; i < live.size(); ++i) {
    SendAll({"uuid" + std::to_string(i)});
    EXPECT_EQ(fake::Timers().size(), live[i]) << "after command " << i + 1;
  }
}

TEST_F(LogicTimerPositions, StopsLastTimerWhenEarlierCommandIsAnswered) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b"});
  fake::Advance(0.25);
  SendAll({"c"});
  fake::Advance(0.25);
  SendAll({"d"});
  EXPECT_EQ(DueTimes(), (std::vector<double>{3.25, 3.5}));
  handler.Answer("a");
  EXPECT_EQ(DueTimes(), std::vector<double>{3.25});
}

TEST_F(LogicTimerPositions, RunsActionOfCommandMovedToPosition) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  client_.responses.clear();
  fake::Advance(3);  // the timer of "c", whose position "d" owns now
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"d"});
  EXPECT_TRUE(fake::Timers().empty());
  fake::Advance(1000);
  EXPECT_EQ(client_.responses.size(), 1u);
  handler.Fetch();
  const auto uuids = handler.DeliveredUuids();
  EXPECT_EQ(Strings(uuids.end() - 2, uuids.end()), (Strings{"b", "c"}));
}

TEST_F(LogicTimerPositions, ClearsHandleOfFiredTimer) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  fake::Advance(3);  // the timer of "c" has expired "d"
  handler.Negotiate("c", 10.0);
  EXPECT_EQ(handler.LastReply(), true);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(handler.Answer("c"), 0);
}

TEST_F(LogicTimerPositions, DoesNothingForPositionWithoutOwner) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  handler.Answer("b");
  client_.responses.clear();
  EXPECT_EQ(DueTimes(), std::vector<double>{3.0});  // of "c", bound to the third position
  fake::Advance(1000);
  EXPECT_TRUE(client_.responses.empty());
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(Send("c", "type"), -1073741824);  // still pending
}

TEST_F(LogicTimerPositions, RunsActionOfNewCommandAtPosition) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  handler.Answer("b");
  client_.responses.clear();
  fake::Advance(1);
  SendAll({"e"});  // gets the third position
  EXPECT_EQ(DueTimes(), (std::vector<double>{3.0, 4.0}));
  fake::Advance(2);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"e"});
  EXPECT_EQ(DueTimes(), std::vector<double>{4.0});
  fake::Advance(1);  // the timer of "e", whose position has lost its owner
  EXPECT_EQ(client_.responses.size(), 1u);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimerPositions, IgnoresTimersWithoutOwnerOnShutdown) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  handler.Answer("b");
  SendAll({"e"});
  fake::Advance(3);
  client_.responses.clear();
  qor_handler_manager_shutdown();
  fake::Advance(1000);
  EXPECT_TRUE(client_.responses.empty());
  EXPECT_TRUE(fake::Timers().empty());
}

// A timer must not call an unloaded library.
TEST_F(LogicTimerPositions, DeletesTimersWithoutOwnerOnShutdown) {
  SendAll({"a", "b", "c", "d"});
  HandlerPeer handler = ConnectAndFetch();
  handler.Negotiate("c", 10.0);
  handler.Answer("a");
  client_.responses.clear();
  fake::Advance(3);  // the timer of "b", whose position "c" owns now
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"c"});
  EXPECT_EQ(DueTimes(), std::vector<double>{10.0});
  qor_handler_manager_shutdown();
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimerPositions, DoesNotRunOldTimersAfterRestart) {
  {
    HandlerPeer handler = ConnectAndFetch();
    SendAll({"a", "b", "c", "d"});
    handler.Answer("a");
    handler.Answer("b");
    fake::Advance(1);
    SendAll({"e"});
    fake::Advance(2);  // the timer of "c" expires "e", whose own timer remains
    EXPECT_EQ(DueTimes(), std::vector<double>{4.0});
  }
  qor_handler_manager_shutdown();
  StartWithClient();
  client_.responses.clear();
  SendAll({"x", "y", "z", "w"});
  fake::Advance(4.9);
  EXPECT_TRUE(client_.responses.empty());
  fake::Advance(0.1);  // the timer of "w"
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"z"});
}

TEST_F(LogicTimerPositions, BindsTimerToPositionAtStart) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  handler.Fetch();
  fake::Advance(3);  // the first timer expires "b"; the next one expires "d", its owner by then
  EXPECT_EQ(client_.AnsweredUuids(), (Strings{"a", "b", "d"}));
}

TEST_F(LogicTimerPositions, HandlesResultDuringTimeoutCallback) {
  SendAll({"a", "b", "c", "d"});
  HandlerPeer handler = ConnectAndFetch();
  handler.Negotiate("c", 10.0);
  handler.Answer("a");
  client_.on_response = [&](const support::Response&) {
    client_.on_response = nullptr;
    handler.Answer("c");
  };
  fake::Advance(3);  // the timer of "b", whose position "c" owns now
  EXPECT_EQ(client_.AnsweredUuids(), (Strings{"a", "c", "c"}));
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimerPositions, DoesNothingAfterListHasGrown) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  SendAll({"e"});
  handler.Fetch();
  handler.Answer("b");
  SendAll({"f"});
  client_.on_response = [this](const support::Response& response) {
    if (response.uuid == "d") SendAll({"g"});
  };
  // The timer of "c" expires "d" while the list grows. The timer of "d" remains without an owner.
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), (Strings{"a", "b", "d"}));
  fake::Advance(1000);
  EXPECT_EQ(client_.responses.size(), 3u);
}

TEST_F(LogicTimerPositions, StopsLastTimerWhenEarlierCommandTimesOut) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"c"});
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimerPositions, ExpiresFirstAndLastOfThreeFetchedCommands) {
  SendAll({"a", "b", "c"});
  HandlerPeer handler = ConnectAndFetch();
  EXPECT_EQ(fake::Timers().size(), 3u);
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), (Strings{"a", "c"}));
  fake::Advance(1000);
  EXPECT_EQ(client_.responses.size(), 2u);
  handler.Answer("b");
  EXPECT_EQ(client_.responses.size(), 3u);
}

TEST_F(LogicTimerPositions, KeepsTimersWhenLastCommandIsAnswered) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("d");
  EXPECT_EQ(fake::Timers().size(), 1u);
  client_.responses.clear();
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"c"});
}

TEST_F(LogicTimerPositions, RestartsTimerOfEachFetchedCommand) {
  SendAll({"a", "b", "c", "d", "e"});
  HandlerPeer handler = ConnectAndFetch();
  EXPECT_EQ(fake::Timers().size(), 5u);
}

TEST_F(LogicTimerPositions, NeverUsesDeletedTimers) {
  SendAll({"a", "b", "c"});  // "a" and "b" have lost their timers
  HandlerPeer handler("h");  // stops the timers
  handler.Negotiate("a", 10.0);
  EXPECT_EQ(handler.LastReply(), true);
  handler.Fetch();      // stops and starts
  SendAll({"d", "e"});  // only "e" has a timer
  handler.Negotiate("b", 10.0);
  EXPECT_EQ(handler.LastReply(), true);
  EXPECT_EQ(fake::Timers().size(), 1u);
  for (const char* uuid : {"c", "a", "e", "b", "d"}) EXPECT_EQ(handler.Answer(uuid), 0);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_THAT(fake::UsageErrors(), ::testing::IsEmpty());
}

TEST_F(LogicTimerPositions, KeepsTimersOfOtherHandlers) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  SendAll({"a"});
  ASSERT_EQ(Send("a", "other"), 0);
  ASSERT_EQ(Send("b", "other"), 0);
  EXPECT_EQ(fake::Timers().size(), 2u);
}

TEST_F(LogicTimerPositions, StopsTimerOfCommandSentInResponseCallback) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  client_.on_response = [&](const support::Response&) { SendAll({"b"}); };
  handler.Answer("a");
  client_.on_response = nullptr;
  EXPECT_TRUE(fake::Timers().empty());
  fake::Advance(1000);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
  handler.Answer("b");
  EXPECT_EQ(client_.AnsweredUuids(), (Strings{"a", "b"}));
}

TEST_F(LogicTimerPositions, StopsLastTimerOfCommandsSentInResponseCallback) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"x", "y", "z"});
  for (const char* uuid : {"x", "y", "z"}) handler.Answer(uuid);
  SendAll({"a"});
  client_.on_response = [&](const support::Response&) { SendAll({"b", "c", "d"}); };
  handler.Answer("a");
  client_.on_response = nullptr;
  client_.responses.clear();
  EXPECT_EQ(DueTimes(), (std::vector<double>{3.0, 3.0}));
  // The timer of "b" expires "c", which owns its position now. The position of "c" then has no
  // owner.
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"c"});
}

TEST_F(LogicTimerPositions, KeepsTimerOfCommandSentToOtherHandlerInResponseCallback) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  client_.on_response = [&](const support::Response&) { EXPECT_EQ(Send("b", "other"), 0); };
  handler.Answer("a");
  EXPECT_EQ(DueTimes(), std::vector<double>{5.0});
}

TEST_F(LogicTimerPositions, StopsTimerOfCommandSentInTimeoutCallback) {
  SendAll({"a"});
  client_.on_response = [&](const support::Response&) { EXPECT_EQ(Send("b", "type"), 0); };
  fake::Advance(5);
  client_.on_response = nullptr;
  EXPECT_TRUE(fake::Timers().empty());
  HandlerPeer handler = ConnectAndFetch();
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"b"});
}

}  // namespace
