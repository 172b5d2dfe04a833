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

constexpr std::chrono::seconds kLength(300);

auto Fields(const Step& step) {
  return std::tie(step.at, step.action, step.handler, step.version, step.type, step.duration,
                  step.bytes);
}

TEST(ScheduleTest, DependsOnSeedOnly) {
  const auto first = MakeSchedule(7, kLength);
  const auto again = MakeSchedule(7, kLength);
  ASSERT_EQ(first.size(), again.size());
  for (std::size_t i = 0; i < first.size(); ++i) ASSERT_EQ(Fields(first[i]), Fields(again[i]));
  EXPECT_NE(MakeSchedule(8, kLength).size(), first.size());
}

TEST(ScheduleTest, IsOrderedAndHasEveryAction) {
  std::set<Action> counts;
  std::chrono::milliseconds last{0};
  for (const Step& step : MakeSchedule(7, kLength)) {
    EXPECT_TRUE(last <= step.at);
    EXPECT_TRUE(step.at < kLength);
    last = step.at;
    counts.insert(step.action);
  }
  EXPECT_EQ(counts.size(), 15u);
}

TEST(ScheduleTest, KeepsAgentOfSecondHalf) {
  for (const Step& step : MakeSchedule(7, kLength)) {
    if (step.action != Action::kKillAgent && step.action != Action::kTerminateAgent) continue;
    EXPECT_TRUE(step.at < kLength / 2);
  }
}

}  // namespace
}  // namespace chaos
