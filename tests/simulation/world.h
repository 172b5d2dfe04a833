// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SIMULATION_WORLD_H_
#define TESTS_SIMULATION_WORLD_H_

#include <cstdint>
#include <random>

#include "ledger.h"
#include "virtual-clock.h"

namespace simulation {

// The agent's application id.
inline constexpr char kAgent[] = "agent";

// Request types.
inline constexpr char kAtMostOnce[] = "once";
inline constexpr char kAtLeastOnce[] = "again";
inline constexpr char kResumed[] = "resumed";
// Of a handler that is not always installed.
inline constexpr char kLate[] = "late";
inline constexpr char kUnserved[] = "unserved";

// What all processes share.
struct World {
  explicit World(std::uint64_t seed) : random(seed) {}

  // Random numbers.
  int Below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }
  bool OneIn(int n) { return Below(n) == 0; }

  std::mt19937_64 random;
  VirtualClock clock;
  Ledger ledger{clock};
  // Processes may still be killed. Otherwise everything works until every command has ended.
  bool has_faults = true;
};

}  // namespace simulation

#endif
