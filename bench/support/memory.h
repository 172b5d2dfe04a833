// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_MEMORY_H_
#define QOR_BENCH_SUPPORT_MEMORY_H_

#include <string>
#include <vector>

namespace bench {

// A range of this process's memory.
struct Mapping {
  std::string file;      // its name without folders; empty when it is of no file
  double resident = 0;   // bytes in memory, whoever shares them
  double anonymous = 0;  // bytes in memory that no file holds
};

std::vector<Mapping> Mappings();

// Bytes in memory of this process that are of no file: heap, stacks and what was written to.
double OwnMemory();

}  // namespace bench

#endif
