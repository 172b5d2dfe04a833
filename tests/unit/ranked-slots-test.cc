// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/ranked-slots.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

TEST(RankedSlots, CountAsALinearSearchDoes) {
  std::mt19937 random(1);
  for (const std::size_t size : {1u, 2u, 3u, 7u, 8u, 9u, 64u, 100u}) {
    api::RankedSlots slots(size);
    ASSERT_EQ(slots.Size(), size);
    std::vector<bool> taken(size);
    for (int change = 0; change < 200; ++change) {
      const std::size_t slot = random() % size;
      taken[slot] ? slots.Free(slot) : slots.Take(slot);
      taken[slot] = !taken[slot];
      std::size_t rank = 0;
      for (std::size_t i = 0; i < size; ++i) {
        ASSERT_EQ(slots.Rank(i), rank) << "of slot " << i << " among " << size;
        if (!taken[i]) continue;
        ASSERT_EQ(slots.Find(rank), i) << "at rank " << rank << " among " << size;
        ++rank;
      }
    }
  }
}

TEST(RankedSlots, MayBeNone) { EXPECT_EQ(api::RankedSlots(0).Size(), 0u); }

}  // namespace
