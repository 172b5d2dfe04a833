// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/priority.h"

#include <algorithm>
#include <stdexcept>

namespace handlers {

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

}  // namespace handlers
