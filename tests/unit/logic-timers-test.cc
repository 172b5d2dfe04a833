// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "api/qor-handler-manager-api.h"
#include "extreme-numbers.h"
#include "one-handler-test.h"

namespace {

using support::CountLogged;
using support::HandlerPeer;
using support::InstallHandler;
using support::kAnyLine;
using Strings = std::vector<std::string>;

class LogicTimers : public support::OneHandlerTest {
 protected:
  void ExpectTimeout(const support::Response& response, const std::string& uuid,
                     const std::string& error) {
    EXPECT_EQ(response.uuid, uuid);
    EXPECT_EQ(response.status, 1);
    EXPECT_EQ(response.result, "");
    EXPECT_EQ(response.result_length, 0);
    EXPECT_EQ(response.error, error);
    EXPECT_EQ(response.error_length, static_cast<int>(error.size()));
  }

  static int ExecutionTimeoutLines() {
    return CountLogged(DLOG_DEBUG, support::PlainLine("logic.cc", "ExecutionTimeoutCb", kAnyLine,
                                                      "SCENARIO_TEST_LOG: Execution timeout"));
  }
};

TEST_F(LogicTimers, ReportsConnectionTimeout) {
  SendAll({"a"});
  fake::Advance(4.999);
  EXPECT_TRUE(client_.responses.empty());
  fake::Advance(0.001);
  ASSERT_EQ(client_.responses.size(), 1u);
  ExpectTimeout(client_.responses[0], "a", support::kConnectionTimeoutError);
  EXPECT_EQ(ExecutionTimeoutLines(), 0);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(Send("a", "type"), 0);  // no longer pending
}

TEST_F(LogicTimers, PassesResultAfterConnectionTimeout) {
  SendAll({"a"});
  fake::Advance(5);
  HandlerPeer handler("h");
  handler.Fetch();
  EXPECT_TRUE(handler.Deliveries().empty());
  handler.Answer("a");
  EXPECT_EQ(client_.AnsweredUuids(), (Strings{"a", "a"}));
}

TEST_F(LogicTimers, ReportsExecutionTimeout) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  fake::Advance(2.999);
  EXPECT_TRUE(client_.responses.empty());
  fake::Advance(0.001);
  ASSERT_EQ(client_.responses.size(), 1u);
  ExpectTimeout(client_.responses[0], "a", support::kExecutionTimeoutError);
  EXPECT_EQ(ExecutionTimeoutLines(), 1);
  EXPECT_TRUE(fake::Timers().empty());
  handler.Fetch();
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});  // no longer pending
}

TEST_F(LogicTimers, LeavesFiredTimerToMainLoop) {
  SendAll({"a"});
  fake::Advance(5);
  EXPECT_EQ(client_.responses.size(), 1u);
  EXPECT_EQ(fake::CallCount("ecore_timer_del"), 0);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimers, ReportsExecutionTimeoutOfFetchedCommand) {
  SendAll({"a"});
  HandlerPeer handler = ConnectAndFetch();
  fake::Advance(3);
  ASSERT_EQ(client_.responses.size(), 1u);
  ExpectTimeout(client_.responses[0], "a", support::kExecutionTimeoutError);
}

TEST_F(LogicTimers, RejectsExtensionOnlyForReturnValueOne) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  for (const int answer : {0, 2, -1, 256, 1}) {
    client_.on_negotiation = [answer](const support::Negotiation&) { return answer; };
    EXPECT_EQ(handler.Negotiate("a", 10.0), 0);
    EXPECT_EQ(handler.LastReply(), answer != 1) << answer;
  }
  ASSERT_EQ(client_.negotiations.size(), 5u);
  EXPECT_EQ(client_.negotiations[0].handler_id, "h");
  EXPECT_EQ(client_.negotiations[0].uuid, "a");
  EXPECT_DOUBLE_EQ(client_.negotiations[0].seconds, 10.0);
}

TEST_F(LogicTimers, KeepsTimeoutWhenExtensionIsRejected) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  fake::Advance(1);
  client_.on_negotiation = [](const support::Negotiation&) { return 1; };
  handler.Negotiate("a", 10.0);
  EXPECT_EQ(DueTimes(), std::vector<double>{3.0});
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 3.0);
}

TEST_F(LogicTimers, CountsExtensionFromGrant) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  fake::Advance(1);
  handler.Negotiate("a", 10.0);
  EXPECT_EQ(DueTimes(), std::vector<double>{11.0});
  fake::Advance(9.999);
  EXPECT_TRUE(client_.responses.empty());
  fake::Advance(0.001);
  ASSERT_EQ(client_.responses.size(), 1u);
  ExpectTimeout(client_.responses[0], "a", support::kExecutionTimeoutError);
}

TEST_F(LogicTimers, ShortensTimeoutByNegotiation) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  handler.Negotiate("a", 0.5);
  fake::Advance(0.5);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
}

TEST_F(LogicTimers, RejectsExtensionOfNaN) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  fake::Advance(1);
  for (const double seconds : support::kNaNs) {
    EXPECT_EQ(handler.Negotiate("a", seconds), 0);
    EXPECT_EQ(handler.LastReply(), false);
  }
  EXPECT_TRUE(client_.negotiations.empty());
  EXPECT_EQ(DueTimes(), std::vector<double>{3.0});
  fake::Advance(2);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
}

TEST_F(LogicTimers, PassesAllOtherExtensions) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  for (const double seconds : support::kExtremeDoubles) {
    EXPECT_EQ(handler.Negotiate("a", seconds), 0);
    EXPECT_EQ(handler.LastReply(), true) << seconds;
    ASSERT_FALSE(client_.negotiations.empty());
    EXPECT_EQ(client_.negotiations.back().seconds, seconds);
    EXPECT_EQ(DueTimes(), std::vector<double>{std::max(seconds, 0.0)});
  }
}

TEST_F(LogicTimers, GrantsExtensionWithoutCallback) {
  api::QorHandlerManagerApi::Instance()->SetNegotiationCallback(nullptr, nullptr);
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  handler.Negotiate("a", 10.0);
  EXPECT_EQ(handler.LastReply(), true);
  EXPECT_EQ(DueTimes(), std::vector<double>{10.0});
}

TEST_F(LogicTimers, RejectsExtensionOfUnknownCommand) {
  HandlerPeer handler = ConnectAndFetch();
  EXPECT_EQ(handler.Negotiate("unknown", 10.0), 0);
  EXPECT_EQ(handler.LastReply(), false);
  EXPECT_TRUE(client_.negotiations.empty());
}

TEST_F(LogicTimers, RejectsExtensionOfCommandOfAnotherHandler) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  HandlerPeer handler = ConnectAndFetch();
  HandlerPeer other("other", "two");
  SendAll({"a"});
  other.Negotiate("a", 10.0);
  EXPECT_EQ(other.LastReply(), false);
  EXPECT_EQ(DueTimes(), std::vector<double>{3.0});
}

TEST_F(LogicTimers, KeepsTimerStoppedWhenExtensionIsGranted) {
  SendAll({"a"});
  HandlerPeer handler("h");
  handler.Negotiate("a", 10.0);
  EXPECT_EQ(handler.LastReply(), true);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicTimers, DiscardsExtensionOnNextFetch) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  handler.Negotiate("a", 10.0);
  handler.Fetch();
  EXPECT_EQ(DueTimes(), std::vector<double>{3.0});
}

TEST_F(LogicTimers, CompletesCommandWhenClientCallbackThrows) {
  HandlerPeer handler = ConnectAndFetch();
  SendAll({"a"});
  client_.on_response = [](const support::Response&) { throw std::runtime_error("test error"); };
  EXPECT_NO_THROW(fake::Advance(3));
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 1u);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(Send("a", "type"), 0);
}

TEST_F(LogicTimers, KeepsCommandPendingDuringTimeoutCallback) {
  SendAll({"a"});
  int inside = 0;
  client_.on_response = [&](const support::Response&) { inside = Send("a", "type"); };
  fake::Advance(5);
  EXPECT_EQ(inside, -1073741824);
  client_.on_response = nullptr;
  EXPECT_EQ(Send("a", "type"), 0);
}

}  // namespace
