// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/parcel.h"

#include <cstring>

#include "platform/linux/rpc-port/frame-reader.h"

namespace platform::rpc {
namespace {

// What stands in front of the tag.
struct __attribute__((packed)) FixedHead {
  int32_t sequence;
  int64_t seconds;
  int32_t nanoseconds;
  uint32_t tag_size;
};

static_assert(Parcel::kMaxValues + sizeof(FixedHead) + Parcel::kMaxTag <= kMaxFrame);

// Most parcels fit this without growing.
constexpr size_t kUsualCapacity = 512;

}  // namespace

Parcel::Parcel() {
  clock_gettime(CLOCK_MONOTONIC_RAW, &header_.created);
  buffer_.reserve(kUsualCapacity);
  buffer_.resize(kUsualHead);
}

bool Parcel::IsWellFormed(ByteView bytes) {
  FixedHead head;
  if (bytes.size < sizeof(head)) return false;
  std::memcpy(&head, bytes.data, sizeof(head));
  return head.tag_size <= kMaxTag && head.tag_size <= bytes.size - sizeof(head) &&
         bytes.size - sizeof(head) - head.tag_size <= kMaxValues;
}

std::unique_ptr<Parcel> Parcel::FromBytes(ByteView bytes) {
  if (!IsWellFormed(bytes)) return nullptr;
  FixedHead head;
  std::memcpy(&head, bytes.data, sizeof(head));
  std::unique_ptr<Parcel> parcel(new Parcel(Uninitialised{}));
  const uint8_t* tag = bytes.data + sizeof(head);
  const uint8_t* values = tag + head.tag_size;
  parcel->header_.tag.assign(tag, values);
  parcel->header_.sequence = head.sequence;
  parcel->header_.created.tv_sec = static_cast<time_t>(head.seconds);
  parcel->header_.created.tv_nsec = head.nanoseconds;
  const size_t size = bytes.size - sizeof(head) - head.tag_size;
  parcel->buffer_.reserve(kUsualHead + size);
  parcel->buffer_.resize(kUsualHead);
  parcel->buffer_.insert(parcel->buffer_.end(), values, values + size);
  return parcel;
}

bool Parcel::Write(const void* data, size_t size) {
  if (size > kMaxValues - (buffer_.size() - values_)) return false;
  const auto* bytes = static_cast<const uint8_t*>(data);
  buffer_.insert(buffer_.end(), bytes, bytes + size);
  return true;
}

bool Parcel::WriteSized(const void* data, size_t size) {
  if (size > kMaxValues || sizeof(uint32_t) + size > kMaxValues - (buffer_.size() - values_)) {
    return false;
  }
  const auto narrow = static_cast<uint32_t>(size);
  return Write(&narrow, sizeof(narrow)) && Write(data, size);
}

bool Parcel::PeekSized(ByteView* bytes) const {
  const size_t left = buffer_.size() - read_;
  uint32_t size;
  if (left < sizeof(size)) return false;
  std::memcpy(&size, buffer_.data() + read_, sizeof(size));
  if (size > left - sizeof(size)) return false;
  *bytes = {buffer_.data() + read_ + sizeof(size), size};
  return true;
}

bool Parcel::Read(void* data, size_t size) {
  if (size > buffer_.size() - read_) return false;
  std::memcpy(data, buffer_.data() + read_, size);
  read_ += size;
  return true;
}

uint8_t* Parcel::PutHead() {
  const FixedHead head = {header_.sequence, static_cast<int64_t>(header_.created.tv_sec),
                          static_cast<int32_t>(header_.created.tv_nsec),
                          static_cast<uint32_t>(header_.tag.size())};
  const size_t size = kFrameLengthSize + sizeof(head) + header_.tag.size();
  if (size > values_) {
    const size_t more = size - values_;
    buffer_.insert(buffer_.begin(), more, 0);
    values_ += more;
    read_ += more;
  }
  const auto length = static_cast<uint32_t>(size - kFrameLengthSize + (buffer_.size() - values_));
  uint8_t* begin = buffer_.data() + values_ - size;
  std::memcpy(begin, &length, sizeof(length));
  std::memcpy(begin + kFrameLengthSize, &head, sizeof(head));
  std::memcpy(begin + kFrameLengthSize + sizeof(head), header_.tag.data(), header_.tag.size());
  return begin;
}

ByteView Parcel::Frame() {
  const uint8_t* begin = PutHead();
  return {begin, static_cast<size_t>(buffer_.data() + buffer_.size() - begin)};
}

ByteView Parcel::Bytes() {
  const ByteView frame = Frame();
  return {frame.data + kFrameLengthSize, frame.size - kFrameLengthSize};
}

}  // namespace platform::rpc
