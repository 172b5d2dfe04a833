// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_RANKED_SLOTS_H_
#define QOR_SRC_API_RANKED_SLOTS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace api {

// Which slots of a row are taken, as a Fenwick tree: how many taken ones stand before a slot, and
// which is the n-th, both in logarithmic time.
class RankedSlots {
 public:
  // All free.
  explicit RankedSlots(std::size_t slots) : tree_(slots + 1) {}

  std::size_t Size() const { return tree_.size() - 1; }
  // A free slot.
  void Take(std::size_t slot) { Add(slot, 1); }
  // A taken one.
  void Free(std::size_t slot) { Add(slot, static_cast<std::uint32_t>(-1)); }
  // How many taken slots stand before this one.
  std::size_t Rank(std::size_t slot) const;
  // The taken slot before which `rank` others stand; there is one.
  std::size_t Find(std::size_t rank) const;

 private:
  // Unsigned, so that taking away is adding what overflows to less.
  void Add(std::size_t slot, std::uint32_t count);

  // At i: how many of the slots from i less its lowest bit up to i - 1 are taken.
  std::vector<std::uint32_t> tree_;
};

}  // namespace api

#endif
