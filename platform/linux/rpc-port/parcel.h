// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_PARCEL_H_
#define PLATFORM_LINUX_RPC_PORT_PARCEL_H_

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

#include "platform/linux/common/bytes.h"
#include "platform/linux/rpc-port/buffer.h"
#include "platform/linux/rpc-port/frame-reader.h"

namespace platform::rpc {

struct ParcelHeader {
  std::string tag;
  int32_t sequence = 0;
  timespec created{};  // monotonic
};

// A header and a row of bytes that is written at its end and read from its beginning. As bytes, in
// the machine's byte order: sequence number (32 bits), seconds (64), nanoseconds (32), length of
// the tag (32), tag, values. Not safe for concurrent use.
class Parcel {
 public:
  static constexpr size_t kMaxTag = 255;
  // So much that the longest parcel is still a frame that the other side takes.
  static constexpr size_t kMaxValues = 4 * 1024 * 1024 - 1024;

  // An empty one, created now.
  Parcel();

  // From the bytes of one; null when they are malformed.
  static std::unique_ptr<Parcel> FromBytes(ByteView bytes);
  static bool IsWellFormed(ByteView bytes);
  // The frame at the reader's front, which it takes out; null when that is malformed.
  static std::unique_ptr<Parcel> TakeFrom(FrameReader* reader);

  ParcelHeader& header() { return header_; }

  // False, and nothing is written, when the parcel would become too long.
  bool Write(const void* data, size_t size);

  // The same with the size (32 bits) in front.
  bool WriteSized(const void* data, size_t size);

  // False, and nothing is read, when there are fewer bytes.
  bool Read(void* data, size_t size);
  // Finds what WriteSized wrote, without stepping over it yet. Valid until the parcel changes.
  bool PeekSized(ByteView* bytes) const;
  void SkipSized(ByteView bytes) { read_ += sizeof(uint32_t) + bytes.size; }

  // The whole parcel as bytes, and as a frame. Valid until the parcel changes.
  ByteView Bytes();
  ByteView Frame();

 private:
  // With the header that the bytes of a whole parcel begin with, and no values yet.
  explicit Parcel(ByteView bytes);

  uint8_t* End() { return buffer_.data() + end_; }
  // Makes room for that many bytes more.
  void Grow(size_t more);
  // Puts frame length and header right in front of the values; returns where they begin.
  uint8_t* WriteHeader();

  // In front of the values there is room for the frame's length and the header, so that a parcel is
  // sent from where it was written. Grows for an unusually long tag.
  static constexpr size_t kReservedHeader = 64;

  ParcelHeader header_;
  Buffer buffer_;
  // Offsets in the buffer: where the values begin, are read next, and end.
  size_t values_ = kReservedHeader;
  size_t read_ = kReservedHeader;
  size_t end_ = kReservedHeader;
};

}  // namespace platform::rpc

#endif
