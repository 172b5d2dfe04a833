// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_MACHINE_H_
#define QOR_BENCH_SUPPORT_MACHINE_H_

#include <string>
#include <utility>
#include <vector>

namespace bench {

// Pins this process and its children to the current core and returns its number. Across cores, the
// cost of wake-ups would dominate all others.
int PinToOneCore();

// Returns the properties of the machine that affect the figures, by name.
std::vector<std::pair<std::string, std::string>> DescribeMachine(int core);

}  // namespace bench

#endif
