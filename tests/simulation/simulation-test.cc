// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "simulation.h"

#include <gtest/gtest.h>

namespace simulation {
namespace {

constexpr int kCuts = 20;

std::vector<std::string> TraceOf(std::uint64_t seed) {
  Simulation simulation(seed);
  simulation.Run(kCuts);
  return simulation.Trace();
}

TEST(Simulation, RepeatsItselfWithTheSameSeed) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const auto trace = TraceOf(seed);
    EXPECT_GT(trace.size(), std::size_t{kCuts}) << seed;
    EXPECT_EQ(TraceOf(seed), trace) << seed;
    EXPECT_NE(TraceOf(seed + 1), trace) << seed;
  }
}

}  // namespace
}  // namespace simulation
