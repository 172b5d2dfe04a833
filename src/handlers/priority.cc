// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/priority.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace handlers {

namespace {

constexpr std::size_t kKeyWidth = 3;
// The priority of the smallest key with three digits. Keys of larger priorities begin with a sign,
// those of negative priorities have four digits; their order as text is part of the interface.
constexpr int kTopPriority = 999;

}  // namespace

DeclaredPriority ReadPriority(const std::string* text) {
  using Source = DeclaredPriority::Source;
  if (text == nullptr) return {Source::kMissing, 0};
  try {
    const int number = std::stoi(*text);
    const int value = std::clamp(number, kLowestPriority, kHighestPriority);
    return {value == number ? Source::kDeclared : Source::kClamped, value};
  } catch (const std::logic_error&) {
    return {Source::kInvalid, 0};
  }
}

std::string PreferenceKey(int priority, const HandlerId& id) {
  return ToZeroLeadString(kTopPriority - priority) + id;
}

std::string ToZeroLeadString(int value) {
  // Without a stream: a stream that runs out of memory truncates the text instead of throwing.
  std::string text = std::to_string(value);
  if (text.size() < kKeyWidth) text.insert(0, kKeyWidth - text.size(), '0');
  return text;
}

}  // namespace handlers
