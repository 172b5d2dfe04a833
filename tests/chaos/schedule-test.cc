// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "schedule.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <tuple>

namespace chaos {
namespace {

constexpr int kSeconds = 300;

auto Fields(const Step& step) {
  return std::tie(step.at_milliseconds, step.action, step.handler, step.version, step.type,
                  step.milliseconds, step.bytes);
}

TEST(ScheduleTest, DependsOnSeedOnly) {
  const auto first = MakeSchedule(7, kSeconds);
  const auto again = MakeSchedule(7, kSeconds);
  ASSERT_EQ(first.size(), again.size());
  for (std::size_t i = 0; i < first.size(); ++i) ASSERT_EQ(Fields(first[i]), Fields(again[i]));
  EXPECT_NE(MakeSchedule(8, kSeconds).size(), first.size());
}

TEST(ScheduleTest, IsOrderedAndHasEveryAction) {
  std::set<Action> counts;
  std::int64_t last = 0;
  for (const Step& step : MakeSchedule(7, kSeconds)) {
    EXPECT_LE(last, step.at_milliseconds);
    EXPECT_LT(step.at_milliseconds, kSeconds * 1000);
    last = step.at_milliseconds;
    counts.insert(step.action);
  }
  EXPECT_EQ(counts.size(), 15u);
}

TEST(ScheduleTest, KeepsAgentOfSecondHalf) {
  for (const Step& step : MakeSchedule(7, kSeconds)) {
    if (step.action != Action::kKillAgent && step.action != Action::kTerminateAgent) continue;
    EXPECT_LT(step.at_milliseconds, kSeconds * 1000 / 2);
  }
}

}  // namespace
}  // namespace chaos
