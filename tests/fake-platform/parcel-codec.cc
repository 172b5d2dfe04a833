// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "parcel-codec.h"

#include <cstring>
#include <stdexcept>

#include "bundle-codec.h"

namespace fake {
namespace internal {

void AppendBytes(Bytes* out, const void* data, size_t size) {
  const auto* first = static_cast<const unsigned char*>(data);
  out->insert(out->end(), first, first + size);
}

bool TakeBytes(const Bytes& in, size_t* position, void* data, size_t size) {
  if (in.size() - *position < size) return false;
  if (size > 0) std::memcpy(data, in.data() + *position, size);
  *position += size;
  return true;
}

void AppendBlock(Bytes* out, const void* data, size_t size) {
  const auto length = static_cast<std::uint32_t>(size);
  AppendBytes(out, &length, sizeof(length));
  AppendBytes(out, data, size);
}

bool TakeBlock(const Bytes& in, size_t* position, Bytes* block) {
  size_t at = *position;
  std::uint32_t length = 0;
  if (!TakeBytes(in, &at, &length, sizeof(length)) || in.size() - at < length) return false;
  const auto first = in.begin() + static_cast<std::ptrdiff_t>(at);
  block->assign(first, first + static_cast<std::ptrdiff_t>(length));
  *position = at + length;
  return true;
}

Bytes ToRaw(const ParcelContent& content) {
  Bytes raw;
  AppendBytes(&raw, &content.sequence_number, sizeof(content.sequence_number));
  AppendBytes(&raw, &content.seconds, sizeof(content.seconds));
  AppendBytes(&raw, &content.nanoseconds, sizeof(content.nanoseconds));
  AppendBlock(&raw, content.tag.data(), content.tag.size());
  AppendBytes(&raw, content.body.data(), content.body.size());
  return raw;
}

bool FromRaw(const Bytes& raw, ParcelContent* content) {
  ParcelContent read;
  size_t position = 0;
  Bytes tag;
  if (!TakeBytes(raw, &position, &read.sequence_number, sizeof(read.sequence_number)) ||
      !TakeBytes(raw, &position, &read.seconds, sizeof(read.seconds)) ||
      !TakeBytes(raw, &position, &read.nanoseconds, sizeof(read.nanoseconds)) ||
      !TakeBlock(raw, &position, &tag)) {
    return false;
  }
  read.tag.assign(tag.begin(), tag.end());
  read.body.assign(raw.begin() + static_cast<std::ptrdiff_t>(position), raw.end());
  *content = read;
  return true;
}

namespace {

template <typename T>
void AppendValue(Bytes* out, T value) {
  AppendBytes(out, &value, sizeof(value));
}

template <typename T>
T TakeValue(const Bytes& in, size_t* position) {
  T value{};
  if (!TakeBytes(in, position, &value, sizeof(value))) {
    throw std::out_of_range("read past the end of a parcel");
  }
  return value;
}

Bytes TakeBlockOrThrow(const Bytes& in, size_t* position) {
  Bytes block;
  if (!TakeBlock(in, position, &block)) throw std::out_of_range("read past the end of a parcel");
  return block;
}

}  // namespace
}  // namespace internal

ParcelWriter& ParcelWriter::SequenceNumber(int number) {
  sequence_number_ = number;
  return *this;
}

ParcelWriter& ParcelWriter::Tag(const std::string& tag) {
  tag_ = tag;
  return *this;
}

ParcelWriter& ParcelWriter::Int32(int value) {
  internal::AppendValue(&body_, value);
  return *this;
}

ParcelWriter& ParcelWriter::Int64(long long value) {
  internal::AppendValue(&body_, value);
  return *this;
}

ParcelWriter& ParcelWriter::Bool(bool value) {
  internal::AppendValue(&body_, value);
  return *this;
}

ParcelWriter& ParcelWriter::Double(double value) {
  internal::AppendValue(&body_, value);
  return *this;
}

ParcelWriter& ParcelWriter::String(const std::string& value) {
  internal::AppendBlock(&body_, value.data(), value.size());
  return *this;
}

ParcelWriter& ParcelWriter::Bundle(const std::map<std::string, std::string>& values) {
  internal::BundleContent content;
  for (const auto& [key, value] : values) {
    content.emplace(key, std::make_shared<keyval_t>(BUNDLE_TYPE_STR, std::vector{value}));
  }
  const Bytes raw = internal::ToRaw(content);
  internal::AppendBlock(&body_, raw.data(), raw.size());
  return *this;
}

ParcelWriter& ParcelWriter::Truncate(size_t size) {
  body_.resize(size);
  return *this;
}

Bytes ParcelWriter::Raw() const {
  internal::ParcelContent content;
  content.sequence_number = sequence_number_;
  content.tag = tag_;
  content.body = body_;
  return internal::ToRaw(content);
}

ParcelReader::ParcelReader(const Bytes& raw) {
  internal::ParcelContent content;
  if (!internal::FromRaw(raw, &content)) throw std::invalid_argument("not a parcel");
  sequence_number_ = content.sequence_number;
  tag_ = content.tag;
  body_ = content.body;
}

int ParcelReader::Int32() { return internal::TakeValue<int>(body_, &position_); }

long long ParcelReader::Int64() { return internal::TakeValue<long long>(body_, &position_); }

// The byte may have any value; a bool must be 0 or 1.
bool ParcelReader::Bool() { return internal::TakeValue<unsigned char>(body_, &position_) != 0; }

double ParcelReader::Double() { return internal::TakeValue<double>(body_, &position_); }

std::string ParcelReader::String() {
  const Bytes block = internal::TakeBlockOrThrow(body_, &position_);
  return std::string(block.begin(), block.end());
}

std::map<std::string, std::string> ParcelReader::Bundle() {
  internal::BundleContent content;
  if (!internal::FromRaw(internal::TakeBlockOrThrow(body_, &position_), &content)) {
    throw std::invalid_argument("not a bundle");
  }
  std::map<std::string, std::string> strings;
  for (const auto& [key, value] : content) {
    if (value->type == BUNDLE_TYPE_STR) strings[key] = value->Text(0);
  }
  return strings;
}

}  // namespace fake
