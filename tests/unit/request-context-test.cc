// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/request-context.h"

#include <optional>

#include "library-test.h"

namespace {

class RequestContext : public support::PlatformTest {
 protected:
  void TearDown() override {
    context_.reset();
    timers_.reset();
    PlatformTest::TearDown();
  }

  void Make(std::optional<api::RequestContext>& context) {
    context.emplace(rpc_port::stub::Command("uuid", "type", "payload", 7, {}), [this] {
      ++fired_;
      return false;
    });
  }

  // Starts a timer that the context owns while it exists.
  void Start(std::optional<api::RequestContext>& context, double seconds) {
    context->StartTimer(seconds, *timers_,
                        [&context] { return context ? &context->Timer() : nullptr; });
  }

  std::optional<EcoreTimerGroup> timers_ =
      std::make_optional<EcoreTimerGroup>(support::kLibraryTag);
  std::optional<api::RequestContext> context_;
  int fired_ = 0;
};

TEST_F(RequestContext, RunsActionWhenTimerFires) {
  Make(context_);
  Start(context_, 2);
  fake::Advance(2);
  EXPECT_EQ(fired_, 1);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(RequestContext, DeletesStoppedTimerOnce) {
  Make(context_);
  Start(context_, 2);
  context_->StopTimer();
  context_->StopTimer();
  context_.reset();
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(fake::CallCount("ecore_timer_del"), 1);
}

TEST_F(RequestContext, LeavesExpiredTimerThatDoesNothing) {
  Make(context_);
  Start(context_, 2);
  context_->SetExpired();
  context_.reset();
  EXPECT_EQ(fake::Timers().size(), 1u);
  fake::Advance(2);
  EXPECT_EQ(fired_, 0);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(RequestContext, KeepsInitializationCountOfEcore) {
  Make(context_);
  Start(context_, 2);
  EXPECT_EQ(fake::LoopUsers(), 1);
  context_->StopTimer();
  EXPECT_EQ(fake::LoopUsers(), 1);
}

TEST_F(RequestContext, ReleasesTimerWhenEcoreIsDown) {
  Make(context_);
  Start(context_, 2);
  std::optional<api::RequestContext> destroyed;
  Make(destroyed);
  Start(destroyed, 2);
  EXPECT_EQ(ecore_shutdown(), 0);
  destroyed.reset();
  context_->StopTimer();
  EXPECT_EQ(fake::CallCount("ecore_timer_del"), 0);
  EXPECT_EQ(fake::UsageErrors(), std::vector<std::string>{});
  EXPECT_EQ(fake::LoopUsers(), 0);
}

}  // namespace
