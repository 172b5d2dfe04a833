// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Simulates an agent and a handler through kills and power cuts, and compares what is reported with
// what happened.
//
//   qor_simulation [--seed S] [--cuts N] [--trace]

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>

#include "simulation.h"

namespace {

// Of one simulation. More of them find more than longer ones.
constexpr int kCutsPerSeed = 20;

// Returns whether no promise was violated.
bool Simulate(std::uint64_t seed, bool prints_trace) {
  simulation::Simulation simulation(seed);
  bool succeeded = true;
  try {
    simulation.Run(kCutsPerSeed);
  } catch (const std::exception& violation) {
    succeeded = false;
    std::cout << "seed " << seed << ": " << violation.what() << '\n';
  }
  if (prints_trace) {
    for (const auto& line : simulation.Trace()) std::cout << line << '\n';
  }
  return succeeded;
}

}  // namespace

int main(int argc, char** argv) {
  std::uint64_t seed = 1;
  long cuts = 10'000;
  bool prints_trace = false;
  for (int i = 1; i < argc; ++i) {
    const bool has_value = i + 1 < argc;
    if (std::strcmp(argv[i], "--seed") == 0 && has_value) {
      seed = std::strtoull(argv[++i], nullptr, 10);
    } else if (std::strcmp(argv[i], "--cuts") == 0 && has_value) {
      cuts = std::strtol(argv[++i], nullptr, 10);
    } else if (std::strcmp(argv[i], "--trace") == 0) {
      prints_trace = true;
    } else {
      std::cerr << "usage: " << argv[0] << " [--seed S] [--cuts N] [--trace]\n";
      return 2;
    }
  }
  long failures = 0;
  for (long done = 0; done < cuts; done += kCutsPerSeed) {
    if (!Simulate(seed++, prints_trace)) ++failures;
  }
  std::cout << cuts << " cuts, " << failures << " violations\n";
  return failures == 0 ? 0 : 1;
}
