// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/bundle/codec.h"

#include <climits>
#include <cstring>
#include <string>
#include <utility>

#include "platform/linux/common/bytes.h"

namespace platform::bundle {
namespace {

void AppendSized(const void* from, size_t size, std::vector<uint8_t>* bytes) {
  AppendNative(static_cast<uint32_t>(size), bytes);
  const auto* first = static_cast<const uint8_t*>(from);
  bytes->insert(bytes->end(), first, first + size);
}

size_t RawSize(const _bundle_t& values) {
  size_t size = sizeof(uint32_t);
  for (const auto& [key, value] : values.values) {
    size += 3 * sizeof(uint32_t) + key.size();
    for (size_t i = 0; i < value.count(); ++i) size += sizeof(uint32_t) + value.sizes()[i];
  }
  return size;
}

bool IsKnownType(uint32_t type) {
  return type == BUNDLE_TYPE_STR || type == BUNDLE_TYPE_STR_ARRAY || type == BUNDLE_TYPE_BYTE;
}

// A string ends with its only NUL.
bool IsString(const uint8_t* bytes, size_t size) {
  return size > 0 && std::memchr(bytes, '\0', size) == bytes + size - 1;
}

bool ReadElements(ByteReader* reader, keyval_t* value) {
  uint32_t count;
  if (!reader->ReadNumber(&count) || count > reader->left() / sizeof(uint32_t)) return false;
  if (count == 0 || (!value->IsArray() && count != 1)) return false;
  std::vector<const void*> elements(count, nullptr);
  std::vector<size_t> sizes(count, 0);
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t size;
    if (!reader->ReadNumber(&size)) return false;
    if (size == kEmptySlot && value->IsArray()) continue;
    const uint8_t* bytes;
    if (!reader->ReadBytes(size, &bytes)) return false;
    if (value->type() != BUNDLE_TYPE_BYTE && !IsString(bytes, size)) return false;
    elements[i] = bytes;
    sizes[i] = size;
  }
  value->Assign(elements.data(), sizes.data(), count);
  return true;
}

bool ReadPair(ByteReader* reader, _bundle_t* values) {
  uint32_t type;
  uint32_t key_size;
  const uint8_t* key;
  if (!reader->ReadNumber(&type) || !IsKnownType(type)) return false;
  if (!reader->ReadNumber(&key_size) || !reader->ReadBytes(key_size, &key)) return false;
  if (key_size == 0 || std::memchr(key, '\0', key_size) != nullptr) return false;
  const auto added = values->values.try_emplace(
      std::string(reinterpret_cast<const char*>(key), key_size), static_cast<int>(type));
  return added.second && ReadElements(reader, &added.first->second);
}

}  // namespace

std::vector<uint8_t> ToRaw(const _bundle_t& values) {
  std::vector<uint8_t> bytes;
  const size_t size = RawSize(values);
  if (size > INT_MAX) return bytes;
  bytes.reserve(size);
  AppendNative(static_cast<uint32_t>(values.values.size()), &bytes);
  for (const auto& [key, value] : values.values) {
    AppendNative(static_cast<uint32_t>(value.type()), &bytes);
    AppendSized(key.data(), key.size(), &bytes);
    AppendNative(static_cast<uint32_t>(value.count()), &bytes);
    for (size_t i = 0; i < value.count(); ++i) {
      if (value.elements()[i] == nullptr) {
        AppendNative(kEmptySlot, &bytes);
      } else {
        AppendSized(value.elements()[i], value.sizes()[i], &bytes);
      }
    }
  }
  return bytes;
}

std::unique_ptr<_bundle_t> FromRaw(const uint8_t* bytes, size_t size) {
  ByteReader reader({bytes, size});
  uint32_t count;
  if (!reader.ReadNumber(&count)) return nullptr;
  auto values = std::make_unique<_bundle_t>();
  for (uint32_t i = 0; i < count; ++i) {
    if (!ReadPair(&reader, values.get())) return nullptr;
  }
  if (reader.left() != 0) return nullptr;
  return values;
}

}  // namespace platform::bundle
