// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAKE_PLATFORM_PARCEL_CODEC_H_
#define TESTS_FAKE_PLATFORM_PARCEL_CODEC_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace fake {

using Bytes = std::vector<unsigned char>;

// Builds the parcel that a peer sends. Each call appends one value.
class ParcelWriter {
 public:
  ParcelWriter& SequenceNumber(int number);
  ParcelWriter& Tag(const std::string& tag);
  ParcelWriter& Int32(int value);
  ParcelWriter& Int64(long long value);
  ParcelWriter& Bool(bool value);
  ParcelWriter& Double(double value);
  ParcelWriter& String(const std::string& value);
  ParcelWriter& Bundle(const std::map<std::string, std::string>& values);

  // Bytes of the values so far.
  size_t Size() const { return body_.size(); }
  // Keeps only the first bytes of the values.
  ParcelWriter& Truncate(size_t size);

  Bytes Raw() const;

 private:
  int sequence_number_ = 0;
  std::string tag_;
  Bytes body_;
};

// Reads a parcel that was sent. A read past the end throws std::out_of_range.
class ParcelReader {
 public:
  explicit ParcelReader(const Bytes& raw);

  int SequenceNumber() const { return sequence_number_; }
  const std::string& Tag() const { return tag_; }
  int Int32();
  long long Int64();
  bool Bool();
  double Double();
  std::string String();
  // Only the bundle's strings.
  std::map<std::string, std::string> Bundle();
  bool AtEnd() const { return position_ == body_.size(); }

 private:
  int sequence_number_ = 0;
  std::string tag_;
  Bytes body_;
  size_t position_ = 0;
};

namespace internal {

// A parcel as the platform keeps it: header fields and body.
struct ParcelContent {
  int sequence_number = 0;
  std::string tag;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  Bytes body;
};

Bytes ToRaw(const ParcelContent& content);
// False when the bytes are no parcel.
bool FromRaw(const Bytes& raw, ParcelContent* content);

void AppendBytes(Bytes* out, const void* data, size_t size);
// False, without moving or writing, when fewer bytes are left.
bool TakeBytes(const Bytes& in, size_t* position, void* data, size_t size);
// A 32-bit length and the bytes.
void AppendBlock(Bytes* out, const void* data, size_t size);
bool TakeBlock(const Bytes& in, size_t* position, Bytes* block);

}  // namespace internal
}  // namespace fake

#endif
