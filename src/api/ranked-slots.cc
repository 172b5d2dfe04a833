// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/ranked-slots.h"

namespace api {

namespace {

std::size_t LowestBit(std::size_t number) { return number & (~number + 1); }

}  // namespace

void RankedSlots::Add(std::size_t slot, std::uint32_t count) {
  for (std::size_t i = slot + 1; i < tree_.size(); i += LowestBit(i)) tree_[i] += count;
}

std::size_t RankedSlots::Rank(std::size_t slot) const {
  std::size_t rank = 0;
  for (std::size_t i = slot; i > 0; i -= LowestBit(i)) rank += tree_[i];
  return rank;
}

std::size_t RankedSlots::Find(std::size_t rank) const {
  std::size_t step = 1;
  while (step * 2 < tree_.size()) step *= 2;
  std::size_t slot = 0;
  for (; step > 0; step /= 2) {
    if (slot + step < tree_.size() && tree_[slot + step] <= rank) {
      slot += step;
      rank -= tree_[slot];
    }
  }
  return slot;
}

}  // namespace api
