// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>

#include <memory>
#include <vector>

#include "traits.h"

namespace {

using conformance::RunLoopUntil;

class Timer : public conformance::Test {
 protected:
  struct Task {
    Timer* test;
    int number;
    std::function<bool()> action;
  };

  static Eina_Bool Run(void* data) {
    auto* task = static_cast<Task*>(data);
    task->test->fired_.push_back(task->number);
    return task->action() ? EINA_TRUE : EINA_FALSE;
  }

  Ecore_Timer* Add(
      double seconds, int number, std::function<bool()> action = [] { return false; }) {
    tasks_.push_back(std::make_unique<Task>(Task{this, number, std::move(action)}));
    return ecore_timer_add(seconds, Run, tasks_.back().get());
  }

  bool RunUntilFired(size_t count) {
    return RunLoopUntil([this, count] { return fired_.size() >= count; });
  }

  // Runs the main loop for a time.
  void RunFor(double seconds) {
    bool over = false;
    ecore_timer_add(
        seconds,
        [](void* data) -> Eina_Bool {
          *static_cast<bool*>(data) = true;
          return EINA_FALSE;
        },
        &over);
    ASSERT_TRUE(RunLoopUntil([&over] { return over; }));
  }

  std::vector<int> fired_;
  std::vector<std::unique_ptr<Task>> tasks_;
};

LINUX_TEST(Timer, FiresInTheOrderOfTime) {
  Add(0.03, 3);
  Add(0.01, 1);
  Add(0.02, 2);
  ASSERT_TRUE(RunUntilFired(3));
  EXPECT_EQ(fired_, (std::vector<int>{1, 2, 3}));
}

DOCUMENTED_TEST(Timer, FiresOnceWhenItsCallbackReturnsFalse) {
  Add(0.01, 1);
  RunFor(0.05);
  EXPECT_EQ(fired_.size(), 1u);
}

DOCUMENTED_TEST(Timer, FiresAgainWhileItsCallbackReturnsTrue) {
  Add(0.01, 1, [this] { return fired_.size() < 3; });
  RunFor(0.1);
  EXPECT_EQ(fired_.size(), 3u);
}

DOCUMENTED_TEST(Timer, DoesNotFireOnceDeleted) {
  Ecore_Timer* timer = Add(0.01, 1);
  EXPECT_EQ(ecore_timer_del(timer), tasks_.back().get());
  RunFor(0.05);
  EXPECT_TRUE(fired_.empty());
}

LINUX_TEST(Timer, FiresSoonWithAnIntervalOfZero) {
  Add(0.0, 1);
  ASSERT_TRUE(RunUntilFired(1));
}

LINUX_TEST(Timer, MayBeDeletedInItsOwnCallback) {
  Ecore_Timer* timer = nullptr;
  timer = Add(0.01, 1, [&timer] {
    ecore_timer_del(timer);
    return true;
  });
  RunFor(0.05);
  EXPECT_EQ(fired_.size(), 1u);
}

LINUX_TEST(Timer, MayDeleteAnotherThatIsDue) {
  Ecore_Timer* other = nullptr;
  Add(0.01, 1, [&other] {
    ecore_timer_del(other);
    return false;
  });
  other = Add(0.02, 2);
  RunFor(0.05);
  EXPECT_EQ(fired_, std::vector<int>{1});
}

DOCUMENTED_TEST(Timer, MayAddAnother) {
  Add(0.01, 1, [this] {
    Add(0.01, 2);
    return false;
  });
  ASSERT_TRUE(RunUntilFired(2));
  EXPECT_EQ(fired_, (std::vector<int>{1, 2}));
}

DOCUMENTED_TEST(Timer, KeepsItsCurrentPeriodWhenTheIntervalChanges) {
  Ecore_Timer* timer = Add(0.01, 1);
  ecore_timer_interval_set(timer, 1000.0);
  EXPECT_EQ(ecore_timer_interval_get(timer), 1000.0);
  EXPECT_TRUE(RunUntilFired(1));
}

DOCUMENTED_TEST(Timer, UsesANewIntervalForItsNextPeriod) {
  Ecore_Timer* timer = Add(0.01, 1, [] { return true; });
  ecore_timer_interval_set(timer, 1000.0);
  RunFor(0.05);
  EXPECT_EQ(fired_.size(), 1u);
  ecore_timer_del(timer);
}

DOCUMENTED_TEST(Timer, CountsANewIntervalFromAReset) {
  Ecore_Timer* timer = Add(0.01, 1);
  ecore_timer_interval_set(timer, 1000.0);
  ecore_timer_reset(timer);
  EXPECT_GT(ecore_timer_pending_get(timer), 900.0);
  RunFor(0.05);
  EXPECT_TRUE(fired_.empty());
  ecore_timer_del(timer);
}

DOCUMENTED_TEST(Timer, TellsTheTimeLeft) {
  Ecore_Timer* timer = Add(1000.0, 1);
  EXPECT_GT(ecore_timer_pending_get(timer), 900.0);
  EXPECT_LE(ecore_timer_pending_get(timer), 1000.0);
  ecore_timer_del(timer);
}

LINUX_TEST(Timer, IgnoresAMissingHandle) {
  EXPECT_EQ(ecore_timer_del(nullptr), nullptr);
  ecore_timer_interval_set(nullptr, 1.0);
  ecore_timer_reset(nullptr);
}

}  // namespace
