// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_PRIORITY_H_
#define QOR_SRC_HANDLERS_PRIORITY_H_

#include <string>

namespace handlers {

// Metadata key of the priority, below the platform's prefix.
inline constexpr char kPriorityPath[] = "/iot/metadata/qor/priority";

inline constexpr int kLowestPriority = 1;
inline constexpr int kHighestPriority = 100;
// Lifts every handler of the device image above all downloaded ones.
inline constexpr int kPreloadedBonus = 101;

// What the manifest says about a handler's priority.
struct DeclaredPriority {
  enum class Source { kDeclared, kClamped, kMissing, kInvalid };
  Source source;
  // From kLowestPriority to kHighestPriority, or 0 when it is missing or invalid; without bonus.
  int value;
};

// `text` is the metadata value, null when there is none.
DeclaredPriority ReadPriority(const std::string* text);

}  // namespace handlers

#endif
