// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/frame-reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace platform::rpc {
namespace {

// Holds a burst of small frames.
constexpr size_t kDefaultSize = 32 * 1024;
// Larger buffers are allocated only for a frame of that size.
constexpr size_t kMaxBufferInAdvance = 256 * 1024;

}  // namespace

FrameReader::FrameReader(size_t max_frame) : max_frame_(max_frame), next_size_(kDefaultSize) {}

size_t FrameReader::Length() const { return ReadNative(buffer_.data() + begin_); }

FrameReader::State FrameReader::Front() const {
  if (Available() < kFrameLengthSize) return State::kIncomplete;
  const size_t length = Length();
  if (length == 0 || length > max_frame_) return State::kMalformed;
  return Available() < kFrameLengthSize + length ? State::kIncomplete : State::kComplete;
}

ByteView FrameReader::Frame() const {
  return {buffer_.data() + begin_ + kFrameLengthSize, Length()};
}

void FrameReader::Pop() {
  const size_t size = kFrameLengthSize + Length();
  CountPopped(size);
  begin_ += size;
}

Buffer FrameReader::TakeFrame() {
  if (kFrameLengthSize + Length() < Available()) return {};
  CountPopped(Available());
  begin_ = end_ = 0;
  return std::exchange(buffer_, {});
}

void FrameReader::CountPopped(size_t size) {
  ++popped_;
  next_size_ = size > kMaxBufferInAdvance ? kDefaultSize : std::max(size, kDefaultSize);
}

void FrameReader::ReleaseBuffer() { buffer_ = {}; }

size_t FrameReader::Needed() const {
  return Available() < kFrameLengthSize ? kFrameLengthSize : kFrameLengthSize + Length();
}

size_t FrameReader::Missing() const { return Needed() - Available(); }

FrameReader::Space FrameReader::PrepareWrite() {
  if (IsEmpty()) {
    begin_ = end_ = 0;
    if (buffer_.size() > kMaxBufferInAdvance) buffer_ = {};
  }
  // After a malformed length reading stops, so any space will do.
  const size_t needed = Front() == State::kIncomplete ? Needed() : Available() + 1;
  if (begin_ + needed > buffer_.size()) {
    Buffer larger;
    if (needed > buffer_.size()) larger = Buffer(std::max(needed, next_size_));
    uint8_t* target = larger.data() != nullptr ? larger.data() : buffer_.data();
    if (!IsEmpty()) std::memmove(target, buffer_.data() + begin_, Available());
    end_ = Available();
    begin_ = 0;
    if (larger.data() != nullptr) buffer_ = std::move(larger);
  }
  return {buffer_.data() + end_, buffer_.size() - end_};
}

}  // namespace platform::rpc
