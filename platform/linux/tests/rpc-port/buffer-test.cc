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

// Empties the pool. Returns its buffers.
std::vector<Buffer> TakeAllPooled() {
  std::vector<Buffer> all;
  for (size_t size = 16 * kKilobyte; size <= 256 * kKilobyte; size += 16 * kKilobyte) {
    for (int i = 0; i < 4; ++i) all.emplace_back(size);
  }
  return all;
}

}  // namespace

TEST(Buffer, HasRequestedSize) {
  for (const size_t size : {size_t{1}, 512 * size_t{1}, 16 * kKilobyte, 16 * kKilobyte + 1,
                            256 * kKilobyte, 256 * kKilobyte + 1, 1024 * kKilobyte}) {
    for (int again = 0; again < 2; ++again) {
      const Buffer buffer(size);
      ASSERT_GE(buffer.size(), size);
      std::memset(buffer.data(), 'x', buffer.size());
    }
  }
}

TEST(Buffer, IsEmptyAfterMove) {
  Buffer from(100);
  const uint8_t* const bytes = from.data();
  const Buffer to = std::move(from);
  EXPECT_EQ(to.data(), bytes);
  EXPECT_EQ(from.data(), nullptr);
  EXPECT_EQ(from.size(), 0u);
}

TEST(Buffer, IsReusedFromPool) {
  Buffer first(100 * kKilobyte);
  const size_t size = first.size();
  const uint8_t* const bytes = first.data();
  first = {};
  // If the first buffer had been freed, this allocation would reuse its memory.
  const std::unique_ptr<uint8_t[]> other(new uint8_t[size]);
  EXPECT_NE(other.get(), bytes);
  EXPECT_EQ(Buffer(size).data(), bytes);
}

TEST(Buffer, DoesNotReuseMuchLargerBlock) {
  const std::vector<Buffer> pooled = TakeAllPooled();
  Buffer(256 * kKilobyte);
  EXPECT_LT(Buffer(16 * kKilobyte).size(), 128 * kKilobyte);
}

TEST(Buffer, IsReplacedInPoolOnlyByLargerBlock) {
  const std::vector<Buffer> pooled = TakeAllPooled();
  std::vector<Buffer> small;
  std::vector<Buffer> large;
  for (size_t i = 1; i <= 4; ++i) {
    small.emplace_back(i * 16 * kKilobyte);
    large.emplace_back((i + 8) * 16 * kKilobyte);
  }
  std::vector<const uint8_t*> bytes;
  for (const Buffer& buffer : large) bytes.push_back(buffer.data());
  // In both orders.
  for (int again = 0; again < 2; ++again) {
    (again == 0 ? small : large).clear();
    (again == 0 ? large : small).clear();
    for (size_t i = 1; i <= 4; ++i) {
      large.emplace_back((i + 8) * 16 * kKilobyte);
      // cppcheck-suppress invalidContainer ; only addresses are compared, nothing is read
      EXPECT_EQ(large.back().data(), bytes[i - 1]);
    }
    for (size_t i = 1; i <= 4; ++i) small.emplace_back(i * 16 * kKilobyte);
  }
}
