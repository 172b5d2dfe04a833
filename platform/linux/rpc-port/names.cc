// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/names.h"

#include <cstddef>
#include <cstring>

namespace platform::rpc {
namespace {

constexpr size_t kMaxPortName = 80;
constexpr size_t kMaxAppId = 255;

bool IsFileName(const char* name, size_t max_size) {
  if (name == nullptr || name[0] == '\0' || name[0] == '.') return false;
  return strnlen(name, max_size + 1) <= max_size && std::strchr(name, '/') == nullptr;
}

}  // namespace

bool IsPortName(const char* name) { return IsFileName(name, kMaxPortName); }

bool IsAppId(const char* app_id) { return IsFileName(app_id, kMaxAppId); }

}  // namespace platform::rpc
