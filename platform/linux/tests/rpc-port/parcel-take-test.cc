// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Parcels taken from a frame reader.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/linux/rpc-port/frame-reader.h"
#include "platform/linux/rpc-port/parcel.h"
#include "platform/linux/tests/support/sockets.h"

using platform::ByteView;
using platform::rpc::FrameReader;
using platform::rpc::kMaxFrame;
using platform::rpc::Parcel;
using platform::test::FrameOf;
using platform::test::Put;

namespace {

// A size that is copied, and a size that is taken with its buffer.
constexpr size_t kSizes[] = {10, 100000};

std::vector<uint8_t> Copy(ByteView bytes) { return {bytes.data, bytes.data + bytes.size}; }

std::vector<uint8_t> FrameWith(size_t size, const std::string& tag = "tag") {
  Parcel parcel;
  parcel.header().tag = tag;
  parcel.header().sequence = 7;
  parcel.WriteSized(std::string(size, 'v').data(), size);
  return Copy(parcel.Frame());
}

std::string Value(Parcel* parcel) {
  ByteView bytes;
  EXPECT_TRUE(parcel->PeekSized(&bytes));
  parcel->SkipSized(bytes);
  return std::string(bytes.data, bytes.data + bytes.size);
}

}  // namespace

TEST(ParcelTake, EqualsSentParcel) {
  for (const size_t size : kSizes) {
    FrameReader reader(kMaxFrame);
    const auto sent = FrameWith(size);
    Put(sent, &reader);
    const auto parcel = Parcel::TakeFrom(&reader);
    ASSERT_NE(parcel, nullptr);
    EXPECT_TRUE(reader.IsEmpty());
    EXPECT_EQ(reader.popped(), 1u);
    EXPECT_EQ(parcel->header().tag, "tag");
    EXPECT_EQ(parcel->header().sequence, 7);
    EXPECT_EQ(Value(parcel.get()), std::string(size, 'v'));
    char byte;
    EXPECT_FALSE(parcel->Read(&byte, 1));
    EXPECT_EQ(Copy(parcel->Frame()), sent);
  }
}

TEST(ParcelTake, LeavesFollowingBytesToReader) {
  for (const size_t size : kSizes) {
    FrameReader reader(kMaxFrame);
    auto sent = FrameWith(size);
    const auto next = FrameWith(3);
    sent.insert(sent.end(), next.begin(), next.end());
    Put(sent, &reader);
    ASSERT_NE(Parcel::TakeFrom(&reader), nullptr);
    ASSERT_EQ(reader.Front(), FrameReader::State::kComplete);
    const auto parcel = Parcel::TakeFrom(&reader);
    ASSERT_NE(parcel, nullptr);
    EXPECT_EQ(Value(parcel.get()), "vvv");
  }
}

TEST(ParcelTake, SupportsWritesAndLongerTag) {
  for (const size_t size : kSizes) {
    FrameReader reader(kMaxFrame);
    Put(FrameWith(size), &reader);
    const auto parcel = Parcel::TakeFrom(&reader);
    ASSERT_NE(parcel, nullptr);
    EXPECT_EQ(Value(parcel.get()).size(), size);
    parcel->header().tag = std::string(Parcel::kMaxTag, 't');
    // More than the free space of any buffer.
    const std::string more(60000, 'm');
    ASSERT_TRUE(parcel->WriteSized(more.data(), more.size()));
    const auto again = Parcel::FromBytes(parcel->Bytes());
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->header().tag, std::string(Parcel::kMaxTag, 't'));
    EXPECT_EQ(Value(again.get()), std::string(size, 'v'));
    EXPECT_EQ(Value(again.get()), more);
    // The read position is kept.
    EXPECT_EQ(Value(parcel.get()), more);
  }
}

TEST(ParcelTake, KeepsMalformedFrameInReader) {
  for (const size_t size : kSizes) {
    FrameReader reader(kMaxFrame);
    Put(FrameOf(static_cast<uint32_t>(size), 0xff), &reader);
    EXPECT_EQ(Parcel::TakeFrom(&reader), nullptr);
    EXPECT_EQ(reader.Front(), FrameReader::State::kComplete);
  }
}
