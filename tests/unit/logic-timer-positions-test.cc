// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "one-handler-test.h"

namespace {

using support::HandlerPeer;
using support::InstallHandler;
using Texts = std::vector<std::string>;

// Which timers come and go with the places in the list of pending commands.
class LogicTimerPlaces : public support::OneHandlerTest {};

TEST_F(LogicTimerPlaces, StopForTheFirstCommandWhenASecondIsSent) {
  SendAll({"a"});
  fake::Advance(1);
  SendAll({"b"});
  EXPECT_EQ(DueTimes(), std::vector<double>{6.0});
  fake::Advance(1000);
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"b"});
}

TEST_F(LogicTimerPlaces, StopForAllEarlierCommandsWheneverTheListGrows) {
  const std::vector<size_t> live{1, 1, 1, 2, 1, 2, 3, 4, 1, 2};
  for (size_t i = 0; i < live.size(); ++i) {
    SendAll({"uuid" + std::to_string(i)});
    EXPECT_EQ(fake::Timers().size(), live[i]) << "after command " << i + 1;
  }
}

TEST_F(LogicTimerPlaces, StopForTheLastCommandWhenAnEarlierOneIsAnswered) {
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

TEST_F(LogicTimerPlaces, RunTheActionOfTheCommandThatHasMovedToTheirPlace) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  client_.responses.clear();
  fake::Advance(3);  // the timer of "c", at whose place "d" is now
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"d"});
  EXPECT_TRUE(fake::Timers().empty());
  fake::Advance(1000);
  EXPECT_EQ(client_.responses.size(), 1u);
  handler.Fetch();
  const auto uuids = handler.DeliveredUuids();
  EXPECT_EQ(Texts(uuids.end() - 2, uuids.end()), (Texts{"b", "c"}));
}

TEST_F(LogicTimerPlaces, LeaveTheirOwnCommandWithoutAHandleOnceTheyFired) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  fake::Advance(3);  // the timer of "c" has ended "d"
  handler.Negotiate("c", 10.0);
  EXPECT_EQ(handler.LastReply(), true);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(handler.Answer("c"), 0);
}

TEST_F(LogicTimerPlaces, DoNothingForAPlaceThatNobodyIsAt) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  handler.Answer("b");
  client_.responses.clear();
  EXPECT_EQ(DueTimes(), std::vector<double>{3.0});  // of "c", bound to the third place
  fake::Advance(1000);
  EXPECT_TRUE(client_.responses.empty());
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(Send("c", "type"), -1073741824);  // still pending
}

TEST_F(LogicTimerPlaces, RunTheActionOfANewCommandAtTheirPlace) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  handler.Answer("b");
  client_.responses.clear();
  fake::Advance(1);
  SendAll({"e"});  // comes to the third place
  EXPECT_EQ(DueTimes(), (std::vector<double>{3.0, 4.0}));
  fake::Advance(2);
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"e"});
  EXPECT_EQ(DueTimes(), std::vector<double>{4.0});
  fake::Advance(1);  // the timer of "e" itself, whose place is empty again
  EXPECT_EQ(client_.responses.size(), 1u);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimerPlaces, AreNotTouchedByAShutDownOnceNobodyOwnsThem) {
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

// An unloaded library must not be called.
TEST_F(LogicTimerPlaces, EndAtAShutDownWhenNoCommandOwnsThem) {
  SendAll({"a", "b", "c", "d"});
  HandlerPeer handler = ConnectAndFetch();
  handler.Negotiate("c", 10.0);
  handler.Answer("a");
  client_.responses.clear();
  fake::Advance(3);  // the timer of "b", at whose place "c" is now
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"c"});
  EXPECT_EQ(DueTimes(), std::vector<double>{10.0});
  qor_handler_manager_shutdown();
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimerPlaces, DoNotReachTheCommandsOfAFreshStart) {
  {
    HandlerPeer handler = ConnectAndFetch();
    SendAll({"a", "b", "c", "d"});
    handler.Answer("a");
    handler.Answer("b");
    fake::Advance(1);
    SendAll({"e"});
    fake::Advance(2);  // the timer of "c" has ended "e", whose own is left at the third place
    EXPECT_EQ(DueTimes(), std::vector<double>{4.0});
  }
  qor_handler_manager_shutdown();
  StartWithClient();
  client_.responses.clear();
  SendAll({"x", "y", "z", "w"});
  fake::Advance(4.9);
  EXPECT_TRUE(client_.responses.empty());
  fake::Advance(0.1);  // its own
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"z"});
}

TEST_F(LogicTimerPlaces, AreWhereTheirCommandStandsWhenTheyStart) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("a");
  handler.Fetch();
  fake::Advance(3);  // the first ends "b", the next, at whose place "d" is then, "d"
  EXPECT_EQ(client_.AnsweredUuids(), (Texts{"a", "b", "d"}));
}

TEST_F(LogicTimerPlaces, EndWithAResultThatComesWhileTheClientHearsOfTheTimeout) {
  SendAll({"a", "b", "c", "d"});
  HandlerPeer handler = ConnectAndFetch();
  handler.Negotiate("c", 10.0);
  handler.Answer("a");
  client_.on_response = [&](const support::Response&) {
    client_.on_response = nullptr;
    handler.Answer("c");
  };
  fake::Advance(3);  // the timer of "b", at whose place "c" is now
  EXPECT_EQ(client_.AnsweredUuids(), (Texts{"a", "c", "c"}));
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimerPlaces, DoNothingOnceTheListHasGrown) {
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
  // The timer of "c" ends "d", while the list grows. That of "d" is left, for a place that is gone.
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), (Texts{"a", "b", "d"}));
  fake::Advance(1000);
  EXPECT_EQ(client_.responses.size(), 3u);
}

TEST_F(LogicTimerPlaces, StopForTheLastCommandWhenAnEarlierOneTimesOut) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"c"});
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimerPlaces, OfThreeFetchedCommandsEndTheFirstAndTheLast) {
  SendAll({"a", "b", "c"});
  HandlerPeer handler = ConnectAndFetch();
  EXPECT_EQ(fake::Timers().size(), 3u);
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), (Texts{"a", "c"}));
  fake::Advance(1000);
  EXPECT_EQ(client_.responses.size(), 2u);
  handler.Answer("b");
  EXPECT_EQ(client_.responses.size(), 3u);
}

TEST_F(LogicTimerPlaces, KeepRunningForACommandWhenTheLastIsAnswered) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a", "b", "c", "d"});
  handler.Answer("d");
  EXPECT_EQ(fake::Timers().size(), 1u);
  client_.responses.clear();
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"c"});
}

TEST_F(LogicTimerPlaces, StartAfreshForEveryCommandThatIsFetched) {
  SendAll({"a", "b", "c", "d", "e"});
  HandlerPeer handler = ConnectAndFetch();
  EXPECT_EQ(fake::Timers().size(), 5u);
}

TEST_F(LogicTimerPlaces, OfDeletedTimersAreNeverTouchedAgain) {
  SendAll({"a", "b", "c"});  // "a" and "b" have lost their timers
  HandlerPeer handler("h");  // stops
  handler.Negotiate("a", 10.0);
  EXPECT_EQ(handler.LastReply(), true);
  handler.Fetch();      // stops and starts
  SendAll({"d", "e"});  // all five but "e" have lost theirs
  handler.Negotiate("b", 10.0);
  EXPECT_EQ(handler.LastReply(), true);
  EXPECT_EQ(fake::Timers().size(), 1u);
  for (const char* uuid : {"c", "a", "e", "b", "d"}) EXPECT_EQ(handler.Answer(uuid), 0);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_THAT(fake::Faults(), ::testing::IsEmpty());
}

TEST_F(LogicTimerPlaces, OfOneHandlerAreNotChangedByAnothers) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  SendAll({"a"});
  ASSERT_EQ(Send("a", "other"), 0);
  ASSERT_EQ(Send("b", "other"), 0);
  EXPECT_EQ(fake::Timers().size(), 2u);
}

TEST_F(LogicTimerPlaces, StopForACommandThatTheClientSendsOnAResult) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  client_.on_response = [&](const support::Response&) { SendAll({"b"}); };
  handler.Answer("a");
  client_.on_response = nullptr;
  EXPECT_TRUE(fake::Timers().empty());
  fake::Advance(1000);
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"a"});
  handler.Answer("b");
  EXPECT_EQ(client_.AnsweredUuids(), (Texts{"a", "b"}));
}

TEST_F(LogicTimerPlaces, StopForTheLastOfSeveralCommandsThatTheClientSendsOnAResult) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"x", "y", "z"});
  for (const char* uuid : {"x", "y", "z"}) handler.Answer(uuid);
  SendAll({"a"});
  client_.on_response = [&](const support::Response&) { SendAll({"b", "c", "d"}); };
  handler.Answer("a");
  client_.on_response = nullptr;
  client_.responses.clear();
  EXPECT_EQ(DueTimes(), (std::vector<double>{3.0, 3.0}));
  // The timer of "b" ends "c", which is at its place now. That of "c" then finds its place empty.
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Texts{"c"});
}

TEST_F(LogicTimerPlaces, KeepRunningForACommandThatTheClientSendsToAnotherHandlerOnAResult) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  client_.on_response = [&](const support::Response&) { EXPECT_EQ(Send("b", "other"), 0); };
  handler.Answer("a");
  EXPECT_EQ(DueTimes(), std::vector<double>{5.0});
}

TEST_F(LogicTimerPlaces, StopForACommandThatTheClientSendsOnATimeout) {
  SendAll({"a"});
  client_.on_response = [&](const support::Response&) { EXPECT_EQ(Send("b", "type"), 0); };
  fake::Advance(5);
  client_.on_response = nullptr;
  EXPECT_TRUE(fake::Timers().empty());
  HandlerPeer handler = ConnectAndFetch();
  EXPECT_EQ(handler.DeliveredUuids(), Texts{"b"});
}

}  // namespace
