// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/frame-reader.h"

#include <algorithm>
#include <cstring>

namespace platform::rpc {
namespace {

// Takes a burst of small frames at once.
constexpr size_t kUsualCapacity = 32 * 1024;
// A buffer that one long frame made larger than this is given back when it is empty.
constexpr size_t kKeptCapacity = 256 * 1024;

}  // namespace

size_t FrameReader::Length() const {
  uint32_t length;
  std::memcpy(&length, buffer_.get() + begin_, sizeof(length));
  return length;
}

FrameReader::State FrameReader::Front() const {
  if (Available() < kFrameLengthSize) return State::kIncomplete;
  const size_t length = Length();
  if (length == 0 || length > max_frame_) return State::kMalformed;
  return Available() < kFrameLengthSize + length ? State::kIncomplete : State::kComplete;
}

ByteView FrameReader::Frame() const {
  return {buffer_.get() + begin_ + kFrameLengthSize, Length()};
}

void FrameReader::Pop() {
  begin_ += kFrameLengthSize + Length();
  ++popped_;
}

size_t FrameReader::Needed() const {
  return Available() < kFrameLengthSize ? kFrameLengthSize : kFrameLengthSize + Length();
}

size_t FrameReader::Missing() const { return Needed() - Available(); }

FrameReader::Space FrameReader::Room() {
  if (IsEmpty()) {
    begin_ = end_ = 0;
    if (capacity_ > kKeptCapacity) {
      buffer_.reset();
      capacity_ = 0;
    }
  }
  // A malformed length asks for nothing: its stream is at its end.
  const size_t needed = Front() == State::kIncomplete ? Needed() : Available() + 1;
  if (begin_ + needed > capacity_) {
    const size_t capacity = std::max({needed, kUsualCapacity, capacity_});
    // Not zeroed: of a long frame only the pages that its bytes reach are ever touched.
    std::unique_ptr<uint8_t[]> larger(capacity > capacity_ ? new uint8_t[capacity] : nullptr);
    uint8_t* target = larger ? larger.get() : buffer_.get();
    if (!IsEmpty()) std::memmove(target, buffer_.get() + begin_, Available());
    end_ = Available();
    begin_ = 0;
    if (larger) buffer_ = std::move(larger);
    capacity_ = capacity;
  }
  return {buffer_.get() + end_, capacity_ - end_};
}

}  // namespace platform::rpc
