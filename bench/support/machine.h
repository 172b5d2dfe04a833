// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_MACHINE_H_
#define QOR_BENCH_SUPPORT_MACHINE_H_

#include <string>
#include <utility>
#include <vector>

namespace bench {

// Holds this process, and what it starts, on the core that it runs on. Across cores wake-ups would
// drown everything else. Returns the core's number.
int PinToOneCore();

// What figures depend on, by name.
std::vector<std::pair<std::string, std::string>> FactsOfMachine(int core);

}  // namespace bench

#endif
