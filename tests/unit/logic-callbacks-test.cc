// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "one-handler-test.h"

namespace {

using support::HandlerPeer;
using support::InstallHandler;
using Strings = std::vector<std::string>;

// Calls in a callback that change the state that the callback reports.
class LogicCallbacks : public support::OneHandlerTest {};

TEST_F(LogicCallbacks, CanSendNextCommand) {
  HandlerPeer handler("h");
  handler.Fetch();
  int next = 0;
  client_.on_response = [&](const support::Response&) {
    if (next < 20) {
      EXPECT_EQ(Send("uuid" + std::to_string(++next), "type"), 0);
    }
  };
  ASSERT_EQ(Send("uuid0", "type"), 0);
  for (int i = 0; i <= 20; ++i) EXPECT_EQ(handler.Answer("uuid" + std::to_string(i)), 0);
  EXPECT_EQ(client_.responses.size(), 21u);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicCallbacks, SeesAnsweredCommandAsPending) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  int inside = 0;
  client_.on_response = [&](const support::Response&) { inside = Send("a", "type"); };
  handler.Answer("a");
  EXPECT_EQ(inside, -1073741824);
  EXPECT_EQ(Send("a", "type"), 0);
}

TEST_F(LogicCallbacks, DropsCommandResentDuringItsLateResult) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  fake::Advance(3);
  client_.responses.clear();
  client_.on_response = [&](const support::Response&) { EXPECT_EQ(Send("a", "type"), 0); };
  handler.Answer("a");
  client_.on_response = nullptr;
  EXPECT_EQ(handler.DeliveredUuids(), (Strings{"a", "a"}));
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
  EXPECT_EQ(Send("a", "type"), 0);  // no longer pending
}

TEST_F(LogicCallbacks, CanSendManyCommandsDuringNegotiation) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_negotiation = [&](const support::Negotiation&) {
    for (int i = 0; i < 20; ++i) EXPECT_EQ(Send("uuid" + std::to_string(i), "type"), 0);
    return 0;
  };
  EXPECT_EQ(handler.Negotiate("a", 10.0), 0);
  EXPECT_EQ(handler.LastReply(), true);
}

TEST_F(LogicCallbacks, CanReceiveResultDuringNegotiation) {
  HandlerPeer handler("h");
  HandlerPeer second("h", "second");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_negotiation = [&](const support::Negotiation&) {
    second.Answer("a");
    return 0;
  };
  EXPECT_EQ(handler.Negotiate("a", 10.0), 0);
  EXPECT_EQ(handler.LastReply(), false);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(LogicCallbacks, CanDisconnectHandler) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_response = [&](const support::Response&) { handler.Disconnect(); };
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
  client_.on_response = nullptr;
  EXPECT_EQ(Send("b", "type"), 0);
  EXPECT_EQ(fake::Launches().size(), 1u);
}

TEST_F(LogicCallbacks, CanInstallPackageDuringUpdate) {
  client_.on_update = [&](const support::HandlerUpdate& update) {
    if (update.handler.app_id != "first") return;
    InstallHandler("second", {"second"});
    support::RaiseInstalled(support::PackageOf("second"));
  };
  InstallHandler("first", {"first"});
  support::RaiseInstalled(support::PackageOf("first"));
  EXPECT_EQ(client_.updates.size(), 2u);
  EXPECT_EQ(Send("a", "first"), 0);
  EXPECT_EQ(Send("b", "second"), 0);
}

TEST_F(LogicCallbacks, CanReplaceCallback) {
  support::Client other;
  HandlerPeer handler("h");
  handler.Fetch();
  client_.on_response = [&](const support::Response&) { other.ListenForResponses(); };
  handler.Answer("a");
  handler.Answer("b");
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
  EXPECT_EQ(other.AnsweredUuids(), Strings{"b"});
}

}  // namespace
