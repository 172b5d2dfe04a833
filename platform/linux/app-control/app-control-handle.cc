// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/app-control-handle.h"

#include <bundle.h>
#include <bundle_internal.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>

namespace platform {
namespace {

constexpr char kAppIdKey[] = "__APP_ID__";

struct BundleDeleter {
  void operator()(bundle* b) const { bundle_free(b); }
};
using UniqueBundle = std::unique_ptr<bundle, BundleDeleter>;

void Add(bundle* b, const std::string& key, const std::string& value) {
  if (bundle_add_str(b, key.c_str(), value.c_str()) != BUNDLE_ERROR_NONE)
    throw std::runtime_error("cannot add " + key + " to the request");
}

void CollectTextKey(const char* key, const int type, const bundle_keyval_t*, void* keys) {
  if (type == BUNDLE_TYPE_STR) static_cast<std::vector<std::string>*>(keys)->emplace_back(key);
}

}  // namespace

std::vector<uint8_t> EncodeRequest(const app_control_s& request) {
  const UniqueBundle packed(bundle_create());
  if (packed == nullptr) throw std::bad_alloc();
  if (request.app_id) Add(packed.get(), kAppIdKey, *request.app_id);
  for (const auto& [key, value] : request.extra_data) Add(packed.get(), key, value);
  bundle_raw* raw = nullptr;
  int length = 0;
  if (bundle_encode_raw(packed.get(), &raw, &length) != BUNDLE_ERROR_NONE)
    throw std::runtime_error("cannot encode the request");
  const std::unique_ptr<bundle_raw, decltype(&std::free)> owned(raw, std::free);
  return {raw, raw + length};
}

bool DecodeRequest(const uint8_t* bytes, size_t size, app_control_s* request) {
  if (size > static_cast<size_t>(std::numeric_limits<int>::max())) return false;
  const UniqueBundle packed(bundle_decode_raw(bytes, static_cast<int>(size)));
  if (packed == nullptr) return false;
  std::vector<std::string> keys;
  bundle_foreach(packed.get(), CollectTextKey, &keys);
  for (const std::string& key : keys) {
    char* value = nullptr;
    if (bundle_get_str(packed.get(), key.c_str(), &value) != BUNDLE_ERROR_NONE) continue;
    if (key == kAppIdKey) {
      request->app_id = value;
    } else {
      request->extra_data[key] = value;
    }
  }
  return true;
}

}  // namespace platform
