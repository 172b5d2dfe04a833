// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/ids.h"

#include <strings.h>

#include <algorithm>

namespace platform {
namespace {

constexpr size_t kMaxPackageId = 49;
constexpr size_t kMaxApplicationId = 79;
constexpr size_t kMaxHostName = 64;

bool IsId(const std::string& text, size_t max_length) {
  const auto is_allowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '_';
  };
  return !text.empty() && text.size() <= max_length && text[0] != '.' &&
         std::all_of(text.begin(), text.end(), is_allowed);
}

}  // namespace

bool HasHostPrefix(const std::string& id) {
  return strncasecmp(id.c_str(), kHostPrefix, sizeof kHostPrefix - 1) == 0;
}

bool IsPackageId(const std::string& text) { return IsId(text, kMaxPackageId); }

bool IsApplicationId(const std::string& text) {
  return IsId(text, kMaxApplicationId) && !HasHostPrefix(text);
}

bool IsHostName(const std::string& text) { return IsId(text, kMaxHostName); }

}  // namespace platform
