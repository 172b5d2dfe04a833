// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <stdexcept>

#include "recording-service.h"

namespace {

using support::CommandHandler;
using support::HandlerPeer;
using support::kStubTag;
using Strings = std::vector<std::string>;

// Exceptions of services, and stubs destroyed during a call.
class StubLifetime : public support::StubTest {};

TEST_F(StubLifetime, TerminatesOtherServicesWhenOneThrows) {
  fake::Connect("app", "one");
  fake::Connect("app", "two");
  script_.calls.clear();
  script_.on_call = [](const std::string& call) {
    if (call == "terminate one") throw std::runtime_error("test error");
  };
  stub_.reset();
  EXPECT_EQ(script_.calls.at(1), "terminate two");
  EXPECT_EQ(fake::OpenHandles("stub"), 0);
}

TEST_F(StubLifetime, CatchesExceptionsOfMethods) {
  const auto expect_contained = [this](const std::string& instance, std::function<void()> action) {
    HandlerPeer peer("app", instance);
    script_.on_call = [&action](const std::string& call) {
      if (call.compare(0, 9, "negotiate") == 0) action();
    };
    EXPECT_EQ(peer.Negotiate("uuid", 1.0), -1);
    EXPECT_EQ(peer.LastReply(), std::nullopt);
    EXPECT_EQ(fake::OpenHandles("parcel"), 0);
  };
  expect_contained("one", [] { throw std::runtime_error("test error"); });
  expect_contained("two", [] { throw rpc_port::stub::stub::InvalidCallbackException(); });
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR, kStubTag).size(), 2u);
}

TEST_F(StubLifetime, CatchesExceptionsOfOnCreate) {
  script_.on_call = [](const std::string& call) {
    if (call == "create one") throw std::runtime_error("test error");
    if (call == "create two") throw 7;
  };
  EXPECT_NO_THROW(HandlerPeer("app", "one"));
  EXPECT_NO_THROW(HandlerPeer("app", "two"));
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR, kStubTag).size(), 2u);
}

TEST_F(StubLifetime, CatchesExceptionsOfOnTerminate) {
  HandlerPeer peer("app", "one");
  script_.on_call = [](const std::string&) { throw 7; };
  EXPECT_NO_THROW(peer.Disconnect());
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR, kStubTag).size(), 1u);
  script_.on_call = nullptr;
  stub_.reset();
  EXPECT_EQ(std::count(script_.calls.begin(), script_.calls.end(), "terminate one"), 1);
}

TEST_F(StubLifetime, CanEndDuringAnyMethod) {
  for (const std::string method : {"fetch", "result", "negotiate"}) {
    stub_ = std::make_unique<CommandHandler>();
    stub_->Listen(factory_);
    HandlerPeer peer("app", method);
    script_.on_call = [this, &method](const std::string& call) {
      if (call.compare(0, method.size(), method) == 0) stub_.reset();
    };
    int result = 0;
    if (method == "fetch") result = peer.Fetch();
    if (method == "result") result = peer.Answer("uuid");
    if (method == "negotiate") result = peer.Negotiate("uuid", 1.0);
    EXPECT_EQ(result, -1) << method;
    EXPECT_EQ(peer.LastReply(), std::nullopt) << method;
    EXPECT_EQ(fake::OpenHandles("stub"), 0) << method;
    EXPECT_EQ(fake::OpenHandles("parcel"), 0) << method;
    script_.callback.reset();
    script_.last_result.extra = rpc_port::stub::Bundle(nullptr);
  }
}

TEST_F(StubLifetime, CanEndDuringOnCreate) {
  script_.on_call = [this](const std::string& call) {
    if (call == "create one") stub_.reset();
  };
  fake::Connect("app", "one");
  EXPECT_EQ(script_.calls,
            (Strings{"service app one", "create one", "terminate one", "destroyed one"}));
}

TEST_F(StubLifetime, CanEndDuringOnTerminate) {
  HandlerPeer peer("app", "one");
  script_.calls.clear();
  bool first = true;
  script_.on_call = [this, &first](const std::string& call) {
    if (call != "terminate one" || !std::exchange(first, false)) return;
    stub_.reset();
  };
  peer.Disconnect();
  EXPECT_EQ(std::count(script_.calls.begin(), script_.calls.end(), "terminate one"), 1);
}

}  // namespace
