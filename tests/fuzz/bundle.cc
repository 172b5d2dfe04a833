// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Encoded bundles from other processes.

#include <bundle.h>
#include <bundle_internal.h>

#include <cstdlib>

#include "target.h"

namespace {

void Visit(const char* key, const int type, const bundle_keyval_t* value, void* other) {
  auto* keyval = const_cast<bundle_keyval_t*>(value);
  void* bytes = nullptr;
  size_t size = 0;
  if (bundle_keyval_type_is_array(keyval) == 0) {
    bundle_keyval_get_basic_val(keyval, &bytes, &size);
  } else {
    void** elements = nullptr;
    unsigned count = 0;
    size_t* sizes = nullptr;
    bundle_keyval_get_array_val(keyval, &elements, &count, &sizes);
  }
  fuzz::Require(bundle_get_type(static_cast<bundle*>(other), key) == type,
                "a bundle that was written and read again has the same keys");
}

}  // namespace

// Requires that a decoded bundle survives encoding and decoding.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  bundle* first = bundle_decode_raw(data, static_cast<int>(size));
  if (first == nullptr) return 0;
  bundle_raw* raw = nullptr;
  int raw_size = 0;
  fuzz::Require(bundle_encode_raw(first, &raw, &raw_size) == BUNDLE_ERROR_NONE,
                "a bundle can be written");
  bundle* second = bundle_decode_raw(raw, raw_size);
  fuzz::Require(second != nullptr, "a bundle that was written can be read");
  fuzz::Require(bundle_get_count(first) == bundle_get_count(second), "no pair is lost");
  bundle_foreach(first, Visit, second);
  bundle_free(second);
  std::free(raw);
  bundle_free(first);
  return 0;
}
