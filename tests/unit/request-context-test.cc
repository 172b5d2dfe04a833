// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/request-context.h"

#include <optional>

#include "library-test.h"

namespace {

class RequestContext : public support::PlatformTest {
 protected:
  api::RequestContext Make() {
    return api::RequestContext(rpc_port::stub::Command("uuid", "type", "payload", 7, {}), [this] {
      ++fired_;
      return false;
    });
  }

  int fired_ = 0;
};

TEST_F(RequestContext, RunsItsActionWhenItsTimerFires) {
  api::RequestContext context = Make();
  context.StartTimer(2);
  fake::Advance(2);
  EXPECT_EQ(fired_, 1);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(RequestContext, SharesItsTimerWithACopy) {
  api::RequestContext context = Make();
  context.StartTimer(2);
  api::RequestContext copy = context;
  EXPECT_EQ(copy.GetCommand().payload, "payload");
  copy.StopTimer();
  EXPECT_TRUE(fake::Timers().empty());
  context.StopTimer();
  EXPECT_EQ(fake::CallCount("ecore_timer_del"), 1);
}

TEST_F(RequestContext, TakesTheTimerAlongWhenACopyEnds) {
  api::RequestContext context = Make();
  context.StartTimer(2);
  { const api::RequestContext copy = context; }
  EXPECT_TRUE(fake::Timers().empty());
  fake::Advance(5);
  EXPECT_EQ(fired_, 0);
}

TEST_F(RequestContext, LeavesAnExpiredTimerThatThenDoesNothing) {
  std::optional<api::RequestContext> context(Make());
  context->StartTimer(2);
  context->SetExpired();
  context.reset();
  EXPECT_EQ(fake::Timers().size(), 1u);
  fake::Advance(2);
  EXPECT_EQ(fired_, 0);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(RequestContext, LeavesTheClientsCountOfEcoreAlone) {
  api::RequestContext context = Make();
  context.StartTimer(2);
  EXPECT_EQ(fake::LoopUsers(), 1);
  context.StopTimer();
  EXPECT_EQ(fake::LoopUsers(), 1);
}

TEST_F(RequestContext, ForgetsItsTimerWhenEcoreIsDown) {
  api::RequestContext stopped = Make();
  stopped.StartTimer(2);
  {
    api::RequestContext destroyed = Make();
    destroyed.StartTimer(2);
    EXPECT_EQ(ecore_shutdown(), 0);
  }
  stopped.StopTimer();
  EXPECT_EQ(fake::CallCount("ecore_timer_del"), 0);
  EXPECT_EQ(fake::Faults(), std::vector<std::string>{});
  EXPECT_EQ(fake::LoopUsers(), 0);
}

TEST_F(RequestContext, KeepsTheSentFlagInACopy) {
  api::RequestContext context = Make();
  EXPECT_FALSE(api::RequestContext(context).IsSent());
  context.SetSent();
  EXPECT_TRUE(api::RequestContext(context).IsSent());
}

}  // namespace
