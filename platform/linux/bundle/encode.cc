// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <bundle.h>
#include <bundle_internal.h>
#include <tizen.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/linux/bundle/boundary.h"
#include "platform/linux/bundle/codec.h"
#include "platform/linux/bundle/values.h"

using platform::bundle::FromRaw;
using platform::bundle::kBoundary;
using platform::bundle::Succeeds;
using platform::bundle::ToRaw;

namespace {

// Copies bytes for a C caller, which frees them. A NUL follows that is not counted.
int CopyToCaller(const void* bytes, size_t size, bundle_raw** r, int* len) {
  if (size > INT_MAX) return BUNDLE_ERROR_OUT_OF_MEMORY;
  auto* copy = static_cast<bundle_raw*>(std::malloc(size + 1));
  if (copy == nullptr) return BUNDLE_ERROR_OUT_OF_MEMORY;
  std::memcpy(copy, bytes, size);
  copy[size] = '\0';
  *r = copy;
  *len = static_cast<int>(size);
  return BUNDLE_ERROR_NONE;
}

}  // namespace

EXPORT_API int bundle_encode_raw(bundle* b, bundle_raw** r, int* len) {
  if (b == nullptr || r == nullptr || len == nullptr) return BUNDLE_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    const auto raw = ToRaw(*b);
    if (raw.empty()) return static_cast<int>(BUNDLE_ERROR_OUT_OF_MEMORY);
    return CopyToCaller(raw.data(), raw.size(), r, len);
  });
}

EXPORT_API bundle* bundle_decode_raw(const bundle_raw* r, const int len) {
  bundle* decoded = nullptr;
  Succeeds([&] {
    if (r == nullptr || len <= 0) return BUNDLE_ERROR_INVALID_PARAMETER;
    decoded = FromRaw(r, static_cast<size_t>(len)).release();
    return decoded == nullptr ? BUNDLE_ERROR_INVALID_PARAMETER : BUNDLE_ERROR_NONE;
  });
  return decoded;
}
