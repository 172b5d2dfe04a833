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

// A header and a sequence of values, which are written at the end and read from the beginning. The
// encoded form, in the machine's byte order: sequence number (32 bits), seconds (64), nanoseconds
// (32), length of the tag (32), tag, values. Not thread-safe.
class Parcel {
 public:
  static constexpr size_t kMaxTag = 255;
  // A parcel with the most values and the longest header still fits kMaxFrame.
  static constexpr size_t kMaxValues = 4 * 1024 * 1024 - 1024;

  // Empty, with the current time.
  Parcel();

  // Decodes a parcel; null when the bytes are malformed.
  static std::unique_ptr<Parcel> FromBytes(ByteView bytes);
  static bool IsWellFormed(ByteView bytes);
  // Pops and decodes the frame at the reader's front, which must be complete. Null, and nothing is
  // popped, when it is malformed.
  static std::unique_ptr<Parcel> TakeFrom(FrameReader* reader);

  ParcelHeader& header() { return header_; }

  // False, and nothing is written, when the values would exceed kMaxValues.
  bool Write(const void* data, size_t size);

  // Like Write(), with the size (32 bits) in front.
  bool WriteSized(const void* data, size_t size);

  // False, and nothing is read, when fewer bytes are left.
  bool Read(void* data, size_t size);
  // Finds bytes of WriteSized() without consuming them. Valid until the parcel changes.
  bool PeekSized(ByteView* bytes) const;
  void SkipSized(ByteView bytes) { read_ += sizeof(uint32_t) + bytes.size; }

  // The encoded parcel, without and with the frame length. Valid until the parcel changes.
  ByteView Bytes();
  ByteView Frame();

 private:
  // Decodes only the header of an encoded parcel.
  explicit Parcel(ByteView bytes);

  uint8_t* End() { return buffer_.data() + end_; }
  // Reserves that many more bytes at the end.
  void Grow(size_t more);
  // Writes frame length and header directly in front of the values. Returns their beginning.
  uint8_t* WriteHeader();

  // Space in front of the values for frame length and header, so that a parcel is sent without
  // copying its values. Grows for a longer tag.
  static constexpr size_t kReservedHeader = 64;

  ParcelHeader header_;
  Buffer buffer_;
  // Offsets in the buffer: the beginning of the values, the read position and the end.
  size_t values_ = kReservedHeader;
  size_t read_ = kReservedHeader;
  size_t end_ = kReservedHeader;
};

}  // namespace platform::rpc

#endif
