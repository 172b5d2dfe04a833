// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/frame-reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/linux/tests/support/sockets.h"

using platform::ByteView;
using platform::rpc::Buffer;
using platform::rpc::FrameReader;
using platform::rpc::kFrameLengthSize;
using platform::rpc::kMaxFrame;
using platform::test::FrameOf;
using platform::test::Put;
using platform::test::SocketPair;
using State = FrameReader::State;

namespace {

// Moves all available bytes of a socket into the reader.
void Drain(int fd, FrameReader* reader) {
  for (;;) {
    const FrameReader::Space room = reader->PrepareWrite();
    const ssize_t count = recv(fd, room.data, room.size, MSG_DONTWAIT);
    if (count <= 0) return;
    reader->CommitWrite(static_cast<size_t>(count));
  }
}

std::vector<uint8_t> Content(const FrameReader& reader) {
  const ByteView frame = reader.Frame();
  return {frame.data, frame.data + frame.size};
}

}  // namespace

TEST(FrameReader, AssemblesFrameFromSingleBytes) {
  auto [near, far] = SocketPair();
  FrameReader reader(kMaxFrame);
  const auto frame = FrameOf(5, 'x');
  for (size_t i = 0; i < frame.size(); ++i) {
    EXPECT_EQ(reader.Front(), State::kIncomplete);
    ASSERT_EQ(send(far.Get(), &frame[i], 1, 0), 1);
    Drain(near.Get(), &reader);
  }
  ASSERT_EQ(reader.Front(), State::kComplete);
  EXPECT_EQ(Content(reader), std::vector<uint8_t>(5, 'x'));
  reader.Pop();
  EXPECT_TRUE(reader.IsEmpty());
}

TEST(FrameReader, ReturnsFramesOfBurstInOrder) {
  FrameReader reader(kMaxFrame);
  std::vector<uint8_t> burst;
  for (uint8_t i = 1; i <= 200; ++i) {
    const auto frame = FrameOf(i, i);
    burst.insert(burst.end(), frame.begin(), frame.end());
  }
  size_t put = 0;
  uint8_t expected = 1;
  while (put < burst.size()) {
    const size_t count = std::min<size_t>(777, burst.size() - put);
    Put({burst.begin() + static_cast<ptrdiff_t>(put),
         burst.begin() + static_cast<ptrdiff_t>(put + count)},
        &reader);
    put += count;
    for (; reader.Front() == State::kComplete; reader.Pop(), ++expected) {
      ASSERT_EQ(Content(reader), std::vector<uint8_t>(expected, expected));
    }
  }
  EXPECT_EQ(expected, 201);
  EXPECT_EQ(reader.popped(), 200u);
}

TEST(FrameReader, RejectsLengthZero) {
  FrameReader reader(kMaxFrame);
  Put({0, 0, 0, 0}, &reader);
  EXPECT_EQ(reader.Front(), State::kMalformed);
}

TEST(FrameReader, RejectsOversizeLengthWithoutAllocating) {
  FrameReader reader(kMaxFrame);
  Put(FrameOf(1, 'x'), &reader);
  reader.Pop();
  const size_t usual = reader.PrepareWrite().size;
  const uint32_t length = kMaxFrame + 1;
  std::vector<uint8_t> bytes(sizeof(length));
  std::memcpy(bytes.data(), &length, sizeof(length));
  Put(bytes, &reader);
  EXPECT_EQ(reader.Front(), State::kMalformed);
  EXPECT_LE(reader.PrepareWrite().size, usual);
}

TEST(FrameReader, AcceptsLongestFrame) {
  FrameReader reader(100);
  Put(FrameOf(100, 'x'), &reader);
  EXPECT_EQ(reader.Front(), State::kComplete);
  reader.Pop();
  Put(FrameOf(101, 'x'), &reader);
  EXPECT_EQ(reader.Front(), State::kMalformed);
}

TEST(FrameReader, ReleasesBuffersOfLongFrames) {
  FrameReader reader(kMaxFrame);
  Put(FrameOf(1, 'a'), &reader);
  reader.Pop();
  const size_t usual = reader.PrepareWrite().size;
  Put(FrameOf(3 * 1024 * 1024, 'b'), &reader);
  ASSERT_EQ(reader.Front(), State::kComplete);
  EXPECT_EQ(reader.Frame().size, 3u * 1024 * 1024);
  EXPECT_EQ(reader.Frame().data[3 * 1024 * 1024 - 1], 'b');
  reader.Pop();
  EXPECT_EQ(reader.PrepareWrite().size, usual);
}

TEST(FrameReader, TransfersFrameWithItsBuffer) {
  FrameReader reader(kMaxFrame);
  Put(FrameOf(100000, 'x'), &reader);
  const ByteView frame = reader.Frame();
  const Buffer buffer = reader.TakeFrame();
  ASSERT_NE(buffer.data(), nullptr);
  EXPECT_EQ(buffer.data() + kFrameLengthSize, frame.data);
  EXPECT_EQ(frame.data[99999], 'x');
  EXPECT_TRUE(reader.IsEmpty());
  EXPECT_EQ(reader.popped(), 1u);
  // The next buffer has the same size.
  EXPECT_GE(reader.PrepareWrite().size, kFrameLengthSize + 100000);
}

TEST(FrameReader, KeepsBufferWithFurtherBytes) {
  FrameReader reader(kMaxFrame);
  auto frames = FrameOf(5, 'a');
  frames.push_back(1);
  Put(frames, &reader);
  EXPECT_EQ(reader.TakeFrame().data(), nullptr);
  ASSERT_EQ(reader.Front(), State::kComplete);
  EXPECT_EQ(Content(reader), std::vector<uint8_t>(5, 'a'));
  EXPECT_EQ(reader.popped(), 0u);
}

TEST(FrameReader, ContinuesAfterReleasingBuffer) {
  FrameReader reader(kMaxFrame);
  Put(FrameOf(5, 'a'), &reader);
  reader.Pop();
  reader.ReleaseBuffer();
  EXPECT_EQ(reader.Front(), State::kIncomplete);
  Put(FrameOf(6, 'b'), &reader);
  ASSERT_EQ(reader.Front(), State::kComplete);
  EXPECT_EQ(Content(reader), std::vector<uint8_t>(6, 'b'));
}

TEST(FrameReader, ReportsMissingBytesOfFront) {
  FrameReader reader(kMaxFrame);
  EXPECT_EQ(reader.Missing(), 4u);
  auto frame = FrameOf(10, 'x');
  Put({frame.begin(), frame.begin() + 4}, &reader);
  EXPECT_EQ(reader.Missing(), 10u);
  Put({frame.begin() + 4, frame.begin() + 7}, &reader);
  EXPECT_EQ(reader.Missing(), 7u);
}
