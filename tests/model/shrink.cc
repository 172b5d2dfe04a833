// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <random>

#include "sequence.h"

namespace model {
namespace {

constexpr int kThinningAttempts = 2000;

}  // namespace

std::vector<Operation> Shrink(std::vector<Operation> operations) {
  const auto keep_if_different = [&operations](const std::vector<Operation>& fewer) {
    const auto mismatch = Run(fewer);
    if (!mismatch) return false;
    operations.assign(fewer.begin(), fewer.begin() + static_cast<long>(mismatch->step) + 1);
    return true;
  };
  keep_if_different(std::vector<Operation>(operations));
  // Removes many at once: a difference that depends on the number of commands may survive that, but
  // not the removal of single ones.
  std::mt19937 random;
  for (int attempt = 0; attempt < kThinningAttempts; ++attempt) {
    std::vector<Operation> fewer;
    for (const Operation& operation : operations) {
      if (random() % 4 != 0) fewer.push_back(operation);
    }
    if (fewer.size() < operations.size()) keep_if_different(fewer);
  }
  // Removes ever shorter runs of operations, until no single one can be removed.
  for (std::size_t length = std::max<std::size_t>(operations.size() / 2, 1);;) {
    bool shorter = false;
    for (std::size_t end = operations.size(); end > 0; end = end > length ? end - length : 0) {
      end = std::min(end, operations.size());
      const auto to = operations.begin() + static_cast<long>(end);
      const auto from = end > length ? to - static_cast<long>(length) : operations.begin();
      std::vector<Operation> fewer(operations.begin(), from);
      fewer.insert(fewer.end(), to, operations.end());
      if (keep_if_different(fewer)) shorter = true;
    }
    if (length == 1 && !shorter) return operations;
    if (length > 1) length = (length + 1) / 2;
  }
}

}  // namespace model
