// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_MEMORY_H_
#define QOR_BENCH_SUPPORT_MEMORY_H_

#include <string>
#include <vector>

namespace bench {

// A range of this process's memory.
struct Mapping {
  std::string file;      // base name; empty for anonymous memory
  double resident = 0;   // resident bytes, including shared pages
  double anonymous = 0;  // resident bytes that are not backed by a file
};

std::vector<Mapping> Mappings();

// Returns the anonymous resident bytes of this process: heap, stacks and modified file pages.
double OwnMemory();

}  // namespace bench

#endif
