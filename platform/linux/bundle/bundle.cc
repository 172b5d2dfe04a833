// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <bundle.h>
#include <tizen.h>

#include <cstring>
#include <utility>
#include <vector>

#include "platform/linux/bundle/boundary.h"
#include "platform/linux/bundle/values.h"

using platform::bundle::kBoundary;
using platform::bundle::Succeeds;

namespace {

bool IsKey(const char* key) { return key != nullptr && *key != '\0'; }

int Add(bundle* b, const char* key, int type, const void* const* elements, const size_t* sizes,
        size_t count) {
  return kBoundary.Run([&] {
    if (b->values.find(key) != b->values.end()) return BUNDLE_ERROR_KEY_EXISTS;
    keyval_t value(type);
    value.Assign(elements, sizes, count);
    b->values.emplace(key, std::move(value));
    return BUNDLE_ERROR_NONE;
  });
}

// Finds the value of a key and a type.
int Find(bundle* b, const char* key, int type, keyval_t** value) {
  if (b == nullptr || !IsKey(key)) return BUNDLE_ERROR_INVALID_PARAMETER;
  const auto found = b->values.find(key);
  if (found == b->values.end() || (type != BUNDLE_TYPE_ANY && found->second.type() != type)) {
    return BUNDLE_ERROR_KEY_NOT_AVAILABLE;
  }
  *value = &found->second;
  return BUNDLE_ERROR_NONE;
}

}  // namespace

EXPORT_API bundle* bundle_create(void) {
  bundle* created = nullptr;
  Succeeds([&] {
    created = new bundle;
    return BUNDLE_ERROR_NONE;
  });
  return created;
}

EXPORT_API bundle* bundle_dup(bundle* b_from) {
  bundle* copy = nullptr;
  Succeeds([&] {
    if (b_from == nullptr) return BUNDLE_ERROR_INVALID_PARAMETER;
    copy = new bundle(*b_from);
    return BUNDLE_ERROR_NONE;
  });
  return copy;
}

EXPORT_API int bundle_free(bundle* b) {
  if (b == nullptr) return BUNDLE_ERROR_INVALID_PARAMETER;
  delete b;
  return BUNDLE_ERROR_NONE;
}

EXPORT_API int bundle_add_str(bundle* b, const char* key, const char* str) {
  if (b == nullptr || !IsKey(key) || str == nullptr) return BUNDLE_ERROR_INVALID_PARAMETER;
  const void* element = str;
  const size_t size = std::strlen(str) + 1;
  return Add(b, key, BUNDLE_TYPE_STR, &element, &size, 1);
}

EXPORT_API int bundle_add_str_array(bundle* b, const char* key, const char** str_array,
                                    const int len) {
  if (b == nullptr || !IsKey(key) || len <= 0) return BUNDLE_ERROR_INVALID_PARAMETER;
  const auto count = static_cast<size_t>(len);
  return kBoundary.Run([&] {
    std::vector<const void*> elements(count, nullptr);
    std::vector<size_t> sizes(count, 0);
    for (size_t i = 0; str_array != nullptr && i < count; ++i) {
      elements[i] = str_array[i];
      sizes[i] = str_array[i] == nullptr ? 0 : std::strlen(str_array[i]) + 1;
    }
    return Add(b, key, BUNDLE_TYPE_STR_ARRAY, elements.data(), sizes.data(), count);
  });
}

EXPORT_API int bundle_add_byte(bundle* b, const char* key, const void* byte, const size_t size) {
  if (b == nullptr || !IsKey(key) || byte == nullptr) return BUNDLE_ERROR_INVALID_PARAMETER;
  return Add(b, key, BUNDLE_TYPE_BYTE, &byte, &size, 1);
}

EXPORT_API int bundle_get_str(bundle* b, const char* key, char** str) {
  keyval_t* value = nullptr;
  if (str == nullptr) return BUNDLE_ERROR_INVALID_PARAMETER;
  const int result = Find(b, key, BUNDLE_TYPE_STR, &value);
  if (result == BUNDLE_ERROR_NONE) *str = static_cast<char*>(value->elements()[0]);
  return result;
}

EXPORT_API const char** bundle_get_str_array(bundle* b, const char* key, int* len) {
  keyval_t* value = nullptr;
  const bool found = Succeeds([&] {
    if (len == nullptr) return static_cast<int>(BUNDLE_ERROR_INVALID_PARAMETER);
    return Find(b, key, BUNDLE_TYPE_STR_ARRAY, &value);
  });
  if (!found) return nullptr;
  *len = static_cast<int>(value->count());
  return const_cast<const char**>(reinterpret_cast<char**>(value->elements()));
}

EXPORT_API int bundle_get_byte(bundle* b, const char* key, void** byte, size_t* size) {
  keyval_t* value = nullptr;
  if (byte == nullptr || size == nullptr) return BUNDLE_ERROR_INVALID_PARAMETER;
  const int result = Find(b, key, BUNDLE_TYPE_BYTE, &value);
  if (result != BUNDLE_ERROR_NONE) return result;
  *byte = value->elements()[0];
  *size = value->sizes()[0];
  return BUNDLE_ERROR_NONE;
}

EXPORT_API int bundle_del(bundle* b, const char* key) {
  if (b == nullptr || !IsKey(key)) return BUNDLE_ERROR_INVALID_PARAMETER;
  const auto found = b->values.find(key);
  if (found == b->values.end()) return BUNDLE_ERROR_KEY_NOT_AVAILABLE;
  b->values.erase(found);
  return BUNDLE_ERROR_NONE;
}

EXPORT_API int bundle_get_count(bundle* b) {
  set_last_result(b == nullptr ? BUNDLE_ERROR_INVALID_PARAMETER : BUNDLE_ERROR_NONE);
  return b == nullptr ? 0 : static_cast<int>(b->values.size());
}

EXPORT_API int bundle_get_type(bundle* b, const char* key) {
  keyval_t* value = nullptr;
  if (!Succeeds([&] { return Find(b, key, BUNDLE_TYPE_ANY, &value); })) return BUNDLE_TYPE_NONE;
  return value->type();
}

EXPORT_API void bundle_foreach(bundle* b, bundle_iterator_t iter, void* user_data) {
  if (b == nullptr || iter == nullptr) {
    set_last_result(BUNDLE_ERROR_INVALID_PARAMETER);
    return;
  }
  for (const auto& [key, value] : b->values) iter(key.c_str(), value.type(), &value, user_data);
  set_last_result(BUNDLE_ERROR_NONE);
}
