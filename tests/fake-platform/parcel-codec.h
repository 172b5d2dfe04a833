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

// Builds a parcel of a peer. Each function appends one value.
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

  // Size of the values in bytes.
  size_t Size() const { return body_.size(); }
  // Truncates the values.
  ParcelWriter& Truncate(size_t size);

  Bytes Raw() const;

 private:
  int sequence_number_ = 0;
  std::string tag_;
  Bytes body_;
};

// Reads a parcel that the code under test has sent. Reads past the end throw std::out_of_range.
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

// Header fields and body of a parcel.
struct ParcelContent {
  int sequence_number = 0;
  std::string tag;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  Bytes body;
};

Bytes ToRaw(const ParcelContent& content);
// Returns false when the bytes are not a parcel.
bool FromRaw(const Bytes& raw, ParcelContent* content);

void AppendBytes(Bytes* out, const void* data, size_t size);
// Returns false, without changing the position or the output, when fewer bytes are left.
bool TakeBytes(const Bytes& in, size_t* position, void* data, size_t size);
// A 32-bit length and the bytes.
void AppendBlock(Bytes* out, const void* data, size_t size);
bool TakeBlock(const Bytes& in, size_t* position, Bytes* block);

}  // namespace internal
}  // namespace fake

#endif
