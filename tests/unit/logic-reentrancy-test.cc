// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <functional>

#include "one-handler-test.h"

namespace {

using support::HandlerPeer;
using support::InstallHandler;
using support::InstallPackage;
using Texts = std::vector<std::string>;

// What a client may do inside a callback.
enum class Deed { kShutDown, kRestart };

// Every callback of the client shuts the library down, or also starts it anew.
class LogicReentrancy : public support::OneHandlerTest, public ::testing::WithParamInterface<Deed> {
 protected:
  // Once: the new router's callbacks are to be heard, too.
  void Do() {
    if (done_) return;
    done_ = true;
    EXPECT_EQ(qor_handler_manager_shutdown(), 0);
    if (GetParam() == Deed::kRestart) {
      StartWithClient();
      EXPECT_EQ(Send("new", "type"), 0);
    }
  }

  // Nothing of the old graph is left, and a new one works.
  void ExpectSound() {
    EXPECT_TRUE(done_);
    EXPECT_EQ(fake::Held("stub"), GetParam() == Deed::kRestart ? 1 : 0);
    EXPECT_EQ(fake::Held("timer"), GetParam() == Deed::kRestart ? 1 : 0);
    EXPECT_EQ(fake::Held("parcel"), 0);
    EXPECT_EQ(fake::Held("package manager"), 1);
    if (GetParam() == Deed::kShutDown) {
      StartWithClient();
      EXPECT_EQ(Send("new", "type"), 0);
    }
    client_.responses.clear();
    client_.on_response = nullptr;
    HandlerPeer handler("h", "new instance");
    EXPECT_EQ(handler.Fetch(), 0);
    EXPECT_EQ(handler.DeliveredUuids(), Texts{"new"});
    EXPECT_EQ(handler.Answer("new"), 0);
    EXPECT_EQ(client_.AnsweredUuids(), Texts{"new"});
  }

  bool done_ = false;
};

INSTANTIATE_TEST_SUITE_P(InAnyCallback, LogicReentrancy,
                         ::testing::Values(Deed::kShutDown, Deed::kRestart),
                         [](const auto& param_info) {
                           return param_info.param == Deed::kShutDown ? "ShutDown" : "Restart";
                         });

TEST_P(LogicReentrancy, IsAllowedOnAResult) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  ASSERT_EQ(Send("b", "type"), 0);
  client_.on_response = [this](const support::Response&) { Do(); };
  EXPECT_EQ(handler.Answer("a"), -1);
  EXPECT_EQ(handler.LastReply(), std::nullopt);
  ExpectSound();
}

TEST_P(LogicReentrancy, IsAllowedOnAResultOfAnUnknownCommand) {
  HandlerPeer handler("h");
  client_.on_response = [this](const support::Response&) { Do(); };
  EXPECT_EQ(handler.Answer("unknown"), -1);
  ExpectSound();
}

TEST_P(LogicReentrancy, IsAllowedOnAnExecutionTimeout) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_response = [this](const support::Response&) { Do(); };
  fake::Advance(3);
  ExpectSound();
}

TEST_P(LogicReentrancy, IsAllowedOnAConnectionTimeout) {
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_response = [this](const support::Response&) { Do(); };
  fake::Advance(5);
  ExpectSound();
}

TEST_P(LogicReentrancy, IsAllowedOnATimeoutAmongOthers) {
  HandlerPeer handler("h");
  for (const char* uuid : {"a", "b", "c", "d"}) ASSERT_EQ(Send(uuid, "type"), 0);
  handler.Fetch();
  client_.on_response = [this](const support::Response&) { Do(); };
  fake::Advance(3);
  ExpectSound();
}

TEST_P(LogicReentrancy, IsAllowedOnANegotiation) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  client_.on_negotiation = [this](const support::Negotiation&) {
    Do();
    return 0;
  };
  EXPECT_EQ(handler.Negotiate("a", 10.0), -1);
  EXPECT_EQ(handler.LastReply(), std::nullopt);
  ExpectSound();
}

TEST_P(LogicReentrancy, IsAllowedOnAnInstallation) {
  client_.on_update = [this](const support::HandlerUpdate&) { Do(); };
  InstallPackage("pair", {{"a", {{"x"}}}, {"b", {{"y"}}}});
  support::RaiseInstalled("pair");
  EXPECT_EQ(client_.updates.size(), 1u);
  ExpectSound();
  EXPECT_EQ(Send("to a", "x"), 0);
  EXPECT_EQ(Send("to b", "y"), 0);
}

TEST_P(LogicReentrancy, IsAllowedOnAnUpdate) {
  client_.on_update = [this](const support::HandlerUpdate&) { Do(); };
  support::RaiseUpdated(support::PackageOf("h"));
  EXPECT_EQ(client_.updates.size(), 1u);
  ExpectSound();
}

TEST_P(LogicReentrancy, IsAllowedOnARemoval) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  client_.updates.clear();
  client_.on_update = [this](const support::HandlerUpdate&) { Do(); };
  support::RaiseUninstalling(support::PackageOf("other"));
  EXPECT_EQ(client_.updates.size(), 1u);
  ExpectSound();
}

TEST_P(LogicReentrancy, IsAllowedDuringAnEnumeration) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  struct Visits {
    std::function<void()> act;
    Texts ids;
  } visits{[this] { Do(); }, {}};
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
  ExpectSound();
}

}  // namespace
