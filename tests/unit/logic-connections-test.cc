// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "api/qor-handler-manager-api.h"
#include "one-handler-test.h"

namespace {

using support::CountLogged;
using support::HandlerPeer;
using support::InstallHandler;
using support::kAnyLine;
using Strings = std::vector<std::string>;

class LogicConnections : public support::OneHandlerTest {
 protected:
  static int CountWarnings(const std::string& function, const std::string& message) {
    return CountLogged(DLOG_WARN, support::PlainLine("logic.cc", function, kAnyLine, message));
  }
};

TEST_F(LogicConnections, StopsTimersOfWaitingCommandsOnConnect) {
  SendAll({"a", "b", "c", "d"});
  EXPECT_FALSE(fake::Timers().empty());
  const HandlerPeer peer("h");
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicConnections, StartsNoTimersUntilFetch) {
  SendAll({"a", "b"});
  HandlerPeer handler("h");
  fake::Advance(1000);
  EXPECT_TRUE(client_.responses.empty());
  SendAll({"c"});
  EXPECT_EQ(fake::Launches().size(), 2u);
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"c"});
  EXPECT_EQ(client_.responses[0].error, support::kExecutionTimeoutError);
  fake::Advance(1000);
  EXPECT_EQ(client_.responses.size(), 1u);
}

TEST_F(LogicConnections, StopsTimersOfDeliveredCommandsOnConnect) {
  HandlerPeer first("h", "one");
  first.Fetch();
  SendAll({"a"});
  HandlerPeer second("h", "two");
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicConnections, DeliversWaitingCommandsInOrder) {
  SendAll({"c", "a", "b"});
  HandlerPeer handler("h");
  EXPECT_EQ(handler.Fetch(), 0);
  EXPECT_EQ(handler.DeliveredUuids(), (Strings{"c", "a", "b"}));
  EXPECT_EQ(fake::Timers().size(), 3u);
  for (const auto& timer : fake::Timers()) EXPECT_DOUBLE_EQ(timer.interval, 3.0);
}

TEST_F(LogicConnections, DeliversBeforeStartingExecutionTimer) {
  SendAll({"a"});
  HandlerPeer handler("h");
  const std::size_t before = fake::Calls().size();
  handler.Fetch();
  Strings calls;
  for (const auto& call : fake::Calls()) calls.push_back(call.function);
  const auto from = calls.begin() + static_cast<std::ptrdiff_t>(before);
  const auto sent = std::find(from, calls.end(), "rpc_port_parcel_send");
  ASSERT_NE(sent, calls.end());
  EXPECT_EQ(std::count(from, sent, "ecore_timer_add"), 0);
  EXPECT_EQ(std::count(sent, calls.end(), "ecore_timer_add"), 1);
}

TEST_F(LogicConnections, RedeliversPendingCommandsOnSecondFetch) {
  SendAll({"a", "b"});
  HandlerPeer handler("h");
  handler.Fetch();
  fake::Advance(2);
  handler.Fetch();
  EXPECT_EQ(handler.DeliveredUuids(), (Strings{"a", "b", "a", "b"}));
  const auto timers = fake::Timers();
  ASSERT_EQ(timers.size(), 2u);
  EXPECT_DOUBLE_EQ(timers[0].due, 5.0);
  EXPECT_DOUBLE_EQ(timers[1].due, 5.0);
}

TEST_F(LogicConnections, DoesNotRedeliverAnsweredCommand) {
  SendAll({"a", "b"});
  HandlerPeer handler("h");
  handler.Fetch();
  handler.Answer("a");
  handler.Fetch();
  EXPECT_EQ(handler.DeliveredUuids(), (Strings{"a", "b", "b"}));
}

TEST_F(LogicConnections, PassesResultUnchanged) {
  SendAll({"a"});
  HandlerPeer handler("h");
  handler.Fetch();
  EXPECT_EQ(handler.Answer("a", "{\"r\":\"\xc3\xa4\"}", 42, "{\"e\":1}"), 0);
  EXPECT_EQ(handler.LastReply(), true);
  ASSERT_EQ(client_.responses.size(), 1u);
  const auto& response = client_.responses[0];
  EXPECT_EQ(response.uuid, "a");
  EXPECT_EQ(response.status, 42);
  EXPECT_EQ(response.result, "{\"r\":\"\xc3\xa4\"}");
  EXPECT_EQ(response.result_length, 10);
  EXPECT_EQ(response.error, "{\"e\":1}");
  EXPECT_EQ(response.error_length, 7);
}

TEST_F(LogicConnections, PassesAnyStatusAndEmptyStrings) {
  HandlerPeer handler("h");
  handler.Fetch();
  SendAll({"a", "b"});
  handler.Answer("a", "", -1, "");
  handler.Answer("b", "", 2147483647, "");
  ASSERT_EQ(client_.responses.size(), 2u);
  EXPECT_EQ(client_.responses[0].status, -1);
  EXPECT_EQ(client_.responses[0].result_length, 0);
  EXPECT_EQ(client_.responses[0].error_length, 0);
  EXPECT_EQ(client_.responses[1].status, 2147483647);
}

TEST_F(LogicConnections, CompletesCommandOnResult) {
  HandlerPeer handler("h");
  handler.Fetch();
  SendAll({"a"});
  handler.Answer("a");
  EXPECT_TRUE(fake::Timers().empty());
  fake::Advance(1000);
  EXPECT_EQ(client_.responses.size(), 1u);
}

TEST_F(LogicConnections, PassesResultOfUnknownCommand) {
  HandlerPeer handler("h");
  SendAll({"a"});
  EXPECT_EQ(handler.Answer("unknown"), 0);
  EXPECT_EQ(handler.LastReply(), true);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"unknown"});
  EXPECT_EQ(fake::Timers().size(), 1u);
}

TEST_F(LogicConnections, PassesResultAfterTimeout) {
  HandlerPeer handler("h");
  handler.Fetch();
  SendAll({"a"});
  fake::Advance(3);
  handler.Answer("a", "{}", 0);
  EXPECT_EQ(client_.AnsweredUuids(), (Strings{"a", "a"}));
  EXPECT_EQ(client_.responses[0].status, 1);
  EXPECT_EQ(client_.responses[1].status, 0);
}

TEST_F(LogicConnections, CompletesCommandOnLateResultOfSameUuid) {
  HandlerPeer handler("h");
  handler.Fetch();
  SendAll({"a"});
  fake::Advance(3);
  SendAll({"a"});
  handler.Answer("a");
  EXPECT_EQ(client_.AnsweredUuids(), (Strings{"a", "a"}));
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(Send("a", "type"), 0);  // no longer pending
}

TEST_F(LogicConnections, KeepsCommandOnResultOfAnotherHandler) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  HandlerPeer handler("h", "one");
  HandlerPeer other("other", "two");
  handler.Fetch();
  SendAll({"a"});
  other.Answer("a");
  EXPECT_EQ(client_.responses.size(), 1u);
  EXPECT_EQ(fake::Timers().size(), 1u);
}

TEST_F(LogicConnections, IgnoresResultOfUnregisteredApplication) {
  HandlerPeer unregistered("unregistered");
  EXPECT_EQ(unregistered.Answer("a"), 0);
  EXPECT_EQ(unregistered.LastReply(), true);
  EXPECT_TRUE(client_.responses.empty());
  EXPECT_EQ(CountWarnings("SendResult",
                          "Received SendResult request from non-registered handler. Ignoring..."),
            1);
}

TEST_F(LogicConnections, IgnoresFetchOfUnregisteredApplication) {
  HandlerPeer unregistered("unregistered");
  EXPECT_EQ(unregistered.Fetch(), 0);
  EXPECT_EQ(
      CountWarnings("SetCommandReceivedCb",
                    "Received FetchCommands request from non-registered handler. Ignoring..."),
      1);
  InstallHandler("unregistered", {"other"});
  support::RaiseInstalled(support::PackageOf("unregistered"));
  ASSERT_EQ(Send("a", "other"), 0);
  EXPECT_EQ(fake::Launches().size(), 1u);
  EXPECT_TRUE(unregistered.Deliveries().empty());
}

TEST_F(LogicConnections, IgnoresConnectionOfUnregisteredApplicationSilently) {
  const HandlerPeer peer("unregistered");
  EXPECT_TRUE(support::LoggedTexts(DLOG_WARN).empty());
  EXPECT_TRUE(support::LoggedTexts(DLOG_ERROR).empty());
}

TEST_F(LogicConnections, AcceptsFetchOfHandlerRegisteredAfterConnecting) {
  HandlerPeer late("late");
  InstallHandler("late", {"late"});
  support::RaiseInstalled(support::PackageOf("late"));
  EXPECT_EQ(late.Fetch(), 0);
  ASSERT_EQ(Send("a", "late"), 0);
  EXPECT_TRUE(fake::Launches().empty());
  EXPECT_EQ(late.DeliveredUuids(), Strings{"a"});
}

TEST_F(LogicConnections, KeepsTimersOfDeliveredCommandsOnDisconnect) {
  HandlerPeer handler("h");
  handler.Fetch();
  SendAll({"a"});
  handler.Disconnect();
  ASSERT_EQ(fake::Timers().size(), 1u);
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
  EXPECT_EQ(client_.responses[0].error, support::kExecutionTimeoutError);
}

TEST_F(LogicConnections, KeepsUntimedCommandsWaitingOnDisconnect) {
  SendAll({"a"});
  {
    HandlerPeer handler("h");
    handler.Disconnect();
  }
  fake::Advance(1000);
  EXPECT_TRUE(client_.responses.empty());
  HandlerPeer again("h", "again");
  again.Fetch();
  EXPECT_EQ(again.DeliveredUuids(), Strings{"a"});
}

TEST_F(LogicConnections, LaunchesAgainAfterDisconnect) {
  HandlerPeer handler("h");
  handler.Fetch();
  handler.Disconnect();
  SendAll({"a"});
  EXPECT_EQ(fake::Launches().size(), 1u);
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 5.0);
}

TEST_F(LogicConnections, KeepsCallbackOnSecondConnection) {
  HandlerPeer first("h", "one");
  first.Fetch();
  HandlerPeer second("h", "two");
  SendAll({"a"});
  EXPECT_EQ(first.DeliveredUuids(), Strings{"a"});
  EXPECT_TRUE(second.Deliveries().empty());
}

TEST_F(LogicConnections, ReplacesCallbackOnFetch) {
  HandlerPeer first("h", "one");
  HandlerPeer second("h", "two");
  first.Fetch();
  second.Fetch();
  SendAll({"a"});
  EXPECT_TRUE(first.Deliveries().empty());
  EXPECT_EQ(second.DeliveredUuids(), Strings{"a"});
}

TEST_F(LogicConnections, TreatsOneDisconnectAsDisconnectOfHandler) {
  HandlerPeer first("h", "one");
  HandlerPeer second("h", "two");
  second.Fetch();
  first.Disconnect();
  SendAll({"a"});
  EXPECT_EQ(fake::Launches().size(), 1u);
  EXPECT_TRUE(second.Deliveries().empty());
}

TEST_F(LogicConnections, KeepsUnsentCommandsOnDisconnectDuringDelivery) {
  SendAll({"a", "b", "c"});
  HandlerPeer handler("h");
  fake::DisconnectDuringSend(2);
  handler.Fetch();
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
  EXPECT_EQ(DueTimes(), (std::vector<double>{3.0, 3.0}));
  HandlerPeer again("h", "again");
  again.Fetch();
  EXPECT_EQ(again.DeliveredUuids(), (Strings{"a", "b", "c"}));
}

TEST_F(LogicConnections, HandlesDisconnectDuringSend) {
  HandlerPeer handler("h");
  handler.Fetch();
  fake::DisconnectDuringSend();
  SendAll({"a"});
  EXPECT_EQ(DueTimes(), std::vector<double>{3.0});
  SendAll({"b"});
  EXPECT_EQ(fake::Launches().size(), 1u);
}

TEST_F(LogicConnections, LogsEnterAndExitOfOperations) {
  HandlerPeer handler("h");
  handler.Fetch();
  handler.Answer("a");
  handler.Disconnect();
  for (const char* function :
       {"OnConnected", "SetCommandReceivedCb", "SendResult", "OnDisconnected"}) {
    EXPECT_EQ(CountLogged(DLOG_DEBUG, support::EnterLine("logic.cc", function, kAnyLine)), 1)
        << function;
    EXPECT_EQ(CountLogged(DLOG_DEBUG, support::ExitLine("logic.cc", function)), 1) << function;
  }
}

TEST_F(LogicConnections, ClosesConnectionWhenDeliveryFails) {
  SendAll({"a", "b", "c"});
  HandlerPeer handler("h");
  EXPECT_EQ(handler.Fetch(7, true), -1);  // the callback is marked as once
  EXPECT_FALSE(fake::IsConnected("instance"));
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
  EXPECT_EQ(fake::Timers().size(), 1u);
  HandlerPeer again("h", "again");
  again.Fetch();
  EXPECT_EQ(again.DeliveredUuids(), (Strings{"a", "b", "c"}));
}

TEST_F(LogicConnections, StopsTimersOfUndeliveredCommandsBeforeDelivery) {
  HandlerPeer handler("h");
  SendAll({"a", "b", "c", "d"});
  EXPECT_EQ(fake::Timers().size(), 2u);
  EXPECT_EQ(handler.Fetch(7, true), -1);  // the callback is marked as once
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
  EXPECT_EQ(fake::Timers().size(), 1u);
}

TEST_F(LogicConnections, TreatsCommandSentAtOnceAsUndelivered) {
  HandlerPeer first("h", "one");
  first.Fetch();
  SendAll({"a", "b", "c"});  // the third has a timer
  EXPECT_EQ(fake::Timers().size(), 1u);
  EXPECT_EQ(first.Fetch(7, true), -1);  // the callback is marked as once
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_EQ(fake::Timers()[0].due, 3.0);
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
}

TEST_F(LogicConnections, KeepsTimersOfDeliveredCommandsUntilRedelivery) {
  SendAll({"a", "b", "c"});
  HandlerPeer first("h", "one");
  first.Fetch();
  fake::Advance(1);
  EXPECT_EQ(first.Fetch(7, true), -1);  // the callback is marked as once
  std::vector<double> due;
  for (const auto& timer : fake::Timers()) due.push_back(timer.due);
  EXPECT_EQ(due, (std::vector<double>{3.0, 3.0, 4.0}));
}

TEST_F(LogicConnections, ClosesConnectionWhenTimerCannotBeCreated) {
  SendAll({"a", "b"});
  HandlerPeer handler("h");
  fake::Fail("ecore_timer_add", -12, 2);
  EXPECT_EQ(handler.Fetch(), -1);
  EXPECT_EQ(handler.DeliveredUuids(), (Strings{"a", "b"}));
  EXPECT_EQ(fake::Timers().size(), 1u);
}

TEST_F(LogicConnections, WorksWithoutResponseCallback) {
  api::QorHandlerManagerApi::Instance()->SetResponseCallback(nullptr, nullptr);
  HandlerPeer handler("h");
  handler.Fetch();
  SendAll({"a", "b"});
  EXPECT_EQ(handler.Answer("a"), 0);
  EXPECT_EQ(handler.LastReply(), true);
  EXPECT_EQ(Send("a", "type"), 0);
  fake::Advance(1000);
  EXPECT_TRUE(client_.responses.empty());
}

TEST_F(LogicConnections, ClosesConnectionWhenClientCallbackThrows) {
  HandlerPeer handler("h");
  handler.Fetch();
  SendAll({"a"});
  client_.on_response = [](const support::Response&) { throw std::runtime_error("test error"); };
  EXPECT_EQ(handler.Answer("a"), -1);
  EXPECT_EQ(handler.LastReply(), std::nullopt);
  EXPECT_FALSE(fake::IsConnected("instance"));
}

}  // namespace
