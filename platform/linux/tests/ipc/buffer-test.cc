// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <utility>
#include <vector>

using platform::rpc::Buffer;

namespace {

constexpr size_t kKilobyte = 1024;

}  // namespace

TEST(Buffer, HasTheRoomThatWasAskedFor) {
  for (const size_t size : {size_t{1}, 512 * size_t{1}, 16 * kKilobyte, 16 * kKilobyte + 1,
                            256 * kKilobyte, 256 * kKilobyte + 1, 1024 * kKilobyte}) {
    for (int again = 0; again < 2; ++again) {
      const Buffer buffer(size);
      ASSERT_GE(buffer.size(), size);
      std::memset(buffer.data(), 'x', buffer.size());
    }
  }
}

TEST(Buffer, IsEmptyAfterItWasMovedAway) {
  Buffer from(100);
  const uint8_t* const bytes = from.data();
  const Buffer to = std::move(from);
  EXPECT_EQ(to.data(), bytes);
  EXPECT_EQ(from.data(), nullptr);
  EXPECT_EQ(from.size(), 0u);
}

TEST(Buffer, OutlivesItsOwnerToBecomeTheNext) {
  Buffer first(100 * kKilobyte);
  const size_t size = first.size();
  const uint8_t* const bytes = first.data();
  first = {};
  // Would be where the first was, had that been freed.
  const std::unique_ptr<uint8_t[]> other(new uint8_t[size]);
  EXPECT_NE(other.get(), bytes);
  EXPECT_EQ(Buffer(size).data(), bytes);
}

TEST(Buffer, IsNoneThatIsMuchLarger) {
  Buffer large(256 * kKilobyte);
  const uint8_t* const bytes = large.data();
  large = {};
  const Buffer small(16 * kKilobyte);
  EXPECT_NE(small.data(), bytes);
  EXPECT_LT(small.size(), 128 * kKilobyte);
}

TEST(Buffer, LeavesItsPlaceToALargerOne) {
  std::vector<Buffer> buffers;
  for (size_t i = 1; i <= 8; ++i) buffers.emplace_back(i * 16 * kKilobyte);
  const uint8_t* const largest = buffers.back().data();
  // The largest last, when there are more small ones than are kept.
  for (Buffer& buffer : buffers) buffer = {};
  EXPECT_EQ(Buffer(8 * 16 * kKilobyte).data(), largest);
}
