// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SIMULATION_VIRTUAL_CLOCK_H_
#define TESTS_SIMULATION_VIRTUAL_CLOCK_H_

#include <cstdint>
#include <string>

#include "clock.h"

namespace simulation {

// One clock for all processes. A power cut starts the time since the boot anew.
class VirtualClock final : public qor::agent::Clock {
 public:
  qor::agent::WallMs Wall() const override { return wall; }
  qor::agent::BootMs SinceBoot() const override { return since_boot; }
  std::string BootId() const override { return std::to_string(boot); }

  qor::agent::WallMs wall = 1'700'000'000'000;
  qor::agent::BootMs since_boot = 10'000;
  int boot = 1;
};

}  // namespace simulation

#endif
