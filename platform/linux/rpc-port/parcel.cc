// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/parcel.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace platform::rpc {
namespace {

// The header in front of the tag.
struct __attribute__((packed)) FixedHeader {
  int32_t sequence;
  int64_t seconds;
  int32_t nanoseconds;
  uint32_t tag_size;
};

static_assert(Parcel::kMaxValues + sizeof(FixedHeader) + Parcel::kMaxTag <= kMaxFrame);

// Enough for most parcels without growing.
constexpr size_t kDefaultSize = 512;
// A parcel takes over the reader's buffer for a frame of at least this size. Shorter frames are
// copied, which costs less than a new buffer for the reader.
constexpr size_t kMinTakenFrame = 4096;

}  // namespace

Parcel::Parcel() : buffer_(kDefaultSize) { clock_gettime(CLOCK_MONOTONIC_RAW, &header_.created); }

Parcel::Parcel(ByteView bytes) {
  FixedHeader head;
  std::memcpy(&head, bytes.data, sizeof(head));
  const uint8_t* tag = bytes.data + sizeof(head);
  header_.tag.assign(tag, tag + head.tag_size);
  header_.sequence = head.sequence;
  header_.created.tv_sec = static_cast<time_t>(head.seconds);
  header_.created.tv_nsec = head.nanoseconds;
}

bool Parcel::IsWellFormed(ByteView bytes) {
  FixedHeader head;
  if (bytes.size < sizeof(head)) return false;
  std::memcpy(&head, bytes.data, sizeof(head));
  return head.tag_size <= kMaxTag && head.tag_size <= bytes.size - sizeof(head) &&
         bytes.size - sizeof(head) - head.tag_size <= kMaxValues;
}

std::unique_ptr<Parcel> Parcel::FromBytes(ByteView bytes) {
  if (!IsWellFormed(bytes)) return nullptr;
  std::unique_ptr<Parcel> parcel(new Parcel(bytes));
  const size_t head = sizeof(FixedHeader) + parcel->header_.tag.size();
  const size_t size = bytes.size - head;
  parcel->buffer_ = Buffer(kReservedHeader + size);
  std::memcpy(parcel->End(), bytes.data + head, size);
  parcel->end_ += size;
  return parcel;
}

std::unique_ptr<Parcel> Parcel::TakeFrom(FrameReader* reader) {
  const ByteView frame = reader->Frame();
  if (frame.size >= kMinTakenFrame && IsWellFormed(frame)) {
    std::unique_ptr<Parcel> parcel(new Parcel(frame));
    parcel->buffer_ = reader->TakeFrame();
    if (parcel->buffer_.data() != nullptr) {
      const auto begin = static_cast<size_t>(frame.data - parcel->buffer_.data());
      parcel->values_ = begin + sizeof(FixedHeader) + parcel->header_.tag.size();
      parcel->read_ = parcel->values_;
      parcel->end_ = begin + frame.size;
      return parcel;
    }
  }
  auto parcel = FromBytes(frame);
  if (parcel != nullptr) reader->Pop();
  return parcel;
}

void Parcel::Grow(size_t more) {
  if (more <= buffer_.size() - end_) return;
  Buffer larger(std::max(end_ + more, 2 * buffer_.size()));
  std::memcpy(larger.data() + values_, buffer_.data() + values_, end_ - values_);
  buffer_ = std::move(larger);
}

bool Parcel::Write(const void* data, size_t size) {
  if (size > kMaxValues - (end_ - values_)) return false;
  Grow(size);
  std::memcpy(End(), data, size);
  end_ += size;
  return true;
}

bool Parcel::WriteSized(const void* data, size_t size) {
  if (size > kMaxValues || sizeof(uint32_t) + size > kMaxValues - (end_ - values_)) {
    return false;
  }
  Grow(sizeof(uint32_t) + size);
  const auto narrow = static_cast<uint32_t>(size);
  return Write(&narrow, sizeof(narrow)) && Write(data, size);
}

bool Parcel::PeekSized(ByteView* bytes) const {
  ByteReader reader({buffer_.data() + read_, end_ - read_});
  uint32_t size;
  const uint8_t* value;
  if (!reader.ReadNumber(&size) || !reader.ReadBytes(size, &value)) return false;
  *bytes = {value, size};
  return true;
}

bool Parcel::Read(void* data, size_t size) {
  if (size > end_ - read_) return false;
  std::memcpy(data, buffer_.data() + read_, size);
  read_ += size;
  return true;
}

uint8_t* Parcel::WriteHeader() {
  const FixedHeader head = {header_.sequence, static_cast<int64_t>(header_.created.tv_sec),
                            static_cast<int32_t>(header_.created.tv_nsec),
                            static_cast<uint32_t>(header_.tag.size())};
  const size_t size = kFrameLengthSize + sizeof(head) + header_.tag.size();
  if (size > values_) {
    const size_t more = size - values_;
    Grow(more);
    std::memmove(buffer_.data() + values_ + more, buffer_.data() + values_, end_ - values_);
    values_ += more;
    read_ += more;
    end_ += more;
  }
  const auto length = static_cast<uint32_t>(size - kFrameLengthSize + (end_ - values_));
  uint8_t* begin = buffer_.data() + values_ - size;
  std::memcpy(begin, &length, sizeof(length));
  std::memcpy(begin + kFrameLengthSize, &head, sizeof(head));
  std::memcpy(begin + kFrameLengthSize + sizeof(head), header_.tag.data(), header_.tag.size());
  return begin;
}

ByteView Parcel::Frame() {
  const uint8_t* begin = WriteHeader();
  return {begin, static_cast<size_t>(End() - begin)};
}

ByteView Parcel::Bytes() {
  const ByteView frame = Frame();
  return {frame.data + kFrameLengthSize, frame.size - kFrameLengthSize};
}

}  // namespace platform::rpc
