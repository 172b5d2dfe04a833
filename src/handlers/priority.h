// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_PRIORITY_H_
#define QOR_SRC_HANDLERS_PRIORITY_H_

#include <string>

#include "common/platform-names.h"

namespace handlers {

// Range of declared priorities.
inline constexpr int kLowestPriority = 1;
inline constexpr int kHighestPriority = 100;
// Added to the priority of handlers in preloaded packages: the handlers of the device image take
// precedence over all downloaded ones.
inline constexpr int kPreloadedBonus = 101;

// The priority in a handler's manifest.
struct DeclaredPriority {
  enum class Source { kDeclared, kClamped, kMissing, kInvalid };
  Source source;
  // From kLowestPriority to kHighestPriority; 0 if missing or invalid. Without the bonus.
  int value;
};

// Reads a metadata value; null if there is none.
DeclaredPriority ReadPriority(const std::string* text);

// Returns the key by which the handlers of one request type are ordered, as text in byte order; the
// smallest key is preferred. Larger priority first; equal priorities: smaller id first.
std::string PreferenceKey(int priority, const HandlerId& id);

// Formats `value` in decimal, padded on the left with zeros to three characters: 7 is 007, -5 is
// 0-5.
std::string ToZeroLeadString(int value);

}  // namespace handlers

#endif
