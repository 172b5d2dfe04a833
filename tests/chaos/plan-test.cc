// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "plan.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <tuple>

namespace chaos {
namespace {

constexpr int kSeconds = 300;

auto Fields(const Step& step) {
  return std::tie(step.at_milliseconds, step.deed, step.handler, step.version, step.type,
                  step.milliseconds, step.bytes);
}

TEST(PlanTest, TheSeedAloneDecidesIt) {
  const auto first = MakePlan(7, kSeconds);
  const auto again = MakePlan(7, kSeconds);
  ASSERT_EQ(first.size(), again.size());
  for (std::size_t i = 0; i < first.size(); ++i) ASSERT_EQ(Fields(first[i]), Fields(again[i]));
  EXPECT_NE(MakePlan(8, kSeconds).size(), first.size());
}

TEST(PlanTest, IsInOrderAndHasEveryDeed) {
  std::set<Deed> deeds;
  std::int64_t last = 0;
  for (const Step& step : MakePlan(7, kSeconds)) {
    EXPECT_LE(last, step.at_milliseconds);
    EXPECT_LT(step.at_milliseconds, kSeconds * 1000);
    last = step.at_milliseconds;
    deeds.insert(step.deed);
  }
  EXPECT_EQ(deeds.size(), 11u);
}

TEST(PlanTest, LetsTheAgentOfTheSecondHalfGrowOld) {
  for (const Step& step : MakePlan(7, kSeconds)) {
    if (step.deed != Deed::kKillAgent && step.deed != Deed::kEndAgent) continue;
    EXPECT_LT(step.at_milliseconds, kSeconds * 1000 / 2);
  }
}

}  // namespace
}  // namespace chaos
