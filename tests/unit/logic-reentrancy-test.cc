// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <functional>

#include "one-handler-test.h"

namespace {

using support::HandlerPeer;
using support::InstallHandler;
using support::InstallPackage;
using Strings = std::vector<std::string>;

// Action of the client inside a callback.
enum class Action { kShutDown, kRestart };

// Callbacks of the client shut the library down or restart it.
class LogicReentrancy : public support::OneHandlerTest,
                        public ::testing::WithParamInterface<Action> {
 protected:
  // Only once: the callbacks of the new router must be received as well.
  void Act() {
    if (acted_) return;
    acted_ = true;
    EXPECT_EQ(qor_handler_manager_shutdown(), 0);
    if (GetParam() == Action::kRestart) {
      StartWithClient();
      EXPECT_EQ(Send("new", "type"), 0);
    }
  }

  // Expects that the old graph is released and a new one works.
  void ExpectWorking() {
    EXPECT_TRUE(acted_);
    EXPECT_EQ(fake::OpenHandles("stub"), GetParam() == Action::kRestart ? 1 : 0);
    EXPECT_EQ(fake::OpenHandles("timer"), GetParam() == Action::kRestart ? 1 : 0);
    EXPECT_EQ(fake::OpenHandles("parcel"), 0);
    EXPECT_EQ(fake::OpenHandles("package manager"), 1);
    if (GetParam() == Action::kShutDown) {
      StartWithClient();
      EXPECT_EQ(Send("new", "type"), 0);
    }
    client_.responses.clear();
    client_.on_response = nullptr;
    HandlerPeer handler("h", "new instance");
    EXPECT_EQ(handler.Fetch(), 0);
    EXPECT_EQ(handler.DeliveredUuids(), Strings{"new"});
    EXPECT_EQ(handler.Answer("new"), 0);
    EXPECT_EQ(client_.AnsweredUuids(), Strings{"new"});
  }

  bool acted_ = false;
};

INSTANTIATE_TEST_SUITE_P(InAnyCallback, LogicReentrancy,
                         ::testing::Values(Action::kShutDown, Action::kRestart),
                         [](const auto& param_info) {
                           return param_info.param == Action::kShutDown ? "ShutDown" : "Restart";
                         });

TEST_P(LogicReentrancy, IsAllowedOnResult) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  ASSERT_EQ(Send("b", "type"), 0);
  client_.on_response = [this](const support::Response&) { Act(); };
  EXPECT_EQ(handler.Answer("a"), -1);
  EXPECT_EQ(handler.LastReply(), std::nullopt);
  ExpectWorking();
}

TEST_P(LogicReentrancy, IsAllowedOnResultOfUnknownCommand) {
  HandlerPeer handler("h");
  client_.on_response = [this](const support::Response&) { Act(); };
  EXPECT_EQ(handler.Answer("unknown"), -1);
  ExpectWorking();
}

TEST_P(LogicReentrancy, IsAllowedOnExecutionTimeout) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_response = [this](const support::Response&) { Act(); };
  fake::Advance(3);
  ExpectWorking();
}

TEST_P(LogicReentrancy, IsAllowedOnConnectionTimeout) {
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_response = [this](const support::Response&) { Act(); };
  fake::Advance(5);
  ExpectWorking();
}

TEST_P(LogicReentrancy, IsAllowedOnTimeoutAmongOthers) {
  HandlerPeer handler("h");
  for (const char* uuid : {"a", "b", "c", "d"}) ASSERT_EQ(Send(uuid, "type"), 0);
  handler.Fetch();
  client_.on_response = [this](const support::Response&) { Act(); };
  fake::Advance(3);
  ExpectWorking();
}

TEST_P(LogicReentrancy, IsAllowedOnNegotiation) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_negotiation = [this](const support::Negotiation&) {
    Act();
    return 0;
  };
  EXPECT_EQ(handler.Negotiate("a", 10.0), -1);
  EXPECT_EQ(handler.LastReply(), std::nullopt);
  ExpectWorking();
}

TEST_P(LogicReentrancy, IsAllowedOnInstallation) {
  client_.on_update = [this](const support::HandlerUpdate&) { Act(); };
  InstallPackage("pair", {{"a", {{"x"}}}, {"b", {{"y"}}}});
  support::RaiseInstalled("pair");
  EXPECT_EQ(client_.updates.size(), 1u);
  ExpectWorking();
  EXPECT_EQ(Send("to a", "x"), 0);
  EXPECT_EQ(Send("to b", "y"), 0);
}

TEST_P(LogicReentrancy, IsAllowedOnUpdate) {
  client_.on_update = [this](const support::HandlerUpdate&) { Act(); };
  support::RaiseUpdated(support::PackageOf("h"));
  EXPECT_EQ(client_.updates.size(), 1u);
  ExpectWorking();
}

TEST_P(LogicReentrancy, IsAllowedOnRemoval) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  client_.updates.clear();
  client_.on_update = [this](const support::HandlerUpdate&) { Act(); };
  support::RaiseUninstalling(support::PackageOf("other"));
  EXPECT_EQ(client_.updates.size(), 1u);
  ExpectWorking();
}

TEST_P(LogicReentrancy, IsAllowedDuringEnumeration) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  struct Visits {
    std::function<void()> act;
    Strings ids;
  } visits{[this] { Act(); }, {}};
  EXPECT_EQ(qor_handler_manager_foreach_handler_info(
                [](qor_handler_manager_handler_info_h info, void* data) {
                  auto* seen = static_cast<Visits*>(data);
                  seen->act();
                  seen->ids.push_back(support::Read(info).app_id);
                  return true;
                },
                &visits),
            0);
  EXPECT_EQ(visits.ids.size(), 2u);
  ExpectWorking();
}

}  // namespace
