// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_BYTES_H_
#define PLATFORM_LINUX_COMMON_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace platform {

// A range of bytes that the view does not own.
struct ByteView {
  const uint8_t* data = nullptr;
  size_t size = 0;
};

// Messages and package events have integers of 32 bits with the lowest byte first. Bundles, parcels
// and frames have them in the machine's byte order.

inline void AppendLittleEndian(uint32_t number, std::vector<uint8_t>* bytes) {
  for (unsigned shift = 0; shift < 32; shift += 8)
    bytes->push_back(static_cast<uint8_t>(number >> shift));
}

inline uint32_t ReadLittleEndian(const uint8_t* bytes) {
  uint32_t number = 0;
  for (unsigned i = 0; i < 4; ++i) number |= static_cast<uint32_t>(bytes[i]) << (8 * i);
  return number;
}

inline void AppendNative(uint32_t number, std::vector<uint8_t>* bytes) {
  const auto* raw = reinterpret_cast<const uint8_t*>(&number);
  bytes->insert(bytes->end(), raw, raw + sizeof number);
}

inline uint32_t ReadNative(const uint8_t* bytes) {
  uint32_t number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

// Reads consecutive values from untrusted bytes, never past their end. Does not own the bytes.
class ByteReader {
 public:
  explicit ByteReader(ByteView bytes) : rest_(bytes) {}

  size_t left() const { return rest_.size; }

  // False, and nothing is read, when fewer bytes are left.
  bool ReadBytes(size_t size, const uint8_t** bytes) {
    if (size > rest_.size) return false;
    *bytes = rest_.data;
    rest_ = {rest_.data + size, rest_.size - size};
    return true;
  }

  // Reads 32 bits in the machine's byte order. False, and nothing is read, when fewer are left.
  bool ReadNumber(uint32_t* number) {
    const uint8_t* bytes;
    if (!ReadBytes(sizeof *number, &bytes)) return false;
    *number = ReadNative(bytes);
    return true;
  }

 private:
  ByteView rest_;
};

}  // namespace platform

#endif
