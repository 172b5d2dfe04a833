// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/dlog/filter.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>

namespace platform::dlog {
namespace {

constexpr int kNoPriority = -1;

int ParsePriority(char letter) {
  static constexpr char kLetters[] = "VDIWEFS";
  const char* found = std::strchr(kLetters, std::toupper(static_cast<unsigned char>(letter)));
  if (letter == '\0' || found == nullptr) return kNoPriority;
  return DLOG_VERBOSE + static_cast<int>(found - kLetters);
}

}  // namespace

std::optional<Filter> Filter::Parse(const std::string& text) {
  Filter filter;
  std::istringstream specs(text);
  std::string spec;
  while (specs >> spec) {
    if (!filter.Add(spec)) return std::nullopt;
  }
  filter.UpdateBounds();
  return filter;
}

bool Filter::Add(const std::string& spec) {
  // A tag may contain colons; the priority follows the last one.
  const size_t colon = spec.rfind(':');
  if (colon == std::string::npos) {
    Set(spec, spec == "*" ? DLOG_DEBUG : DLOG_VERBOSE);
    return true;
  }
  if (colon == 0 || colon + 2 != spec.size()) return false;
  const int priority = ParsePriority(spec[colon + 1]);
  if (priority == kNoPriority) return false;
  Set(spec.substr(0, colon), priority);
  return true;
}

void Filter::Set(const std::string& tag, int priority) {
  if (tag == "*") {
    others_ = priority;
    return;
  }
  const auto same = [&tag](const auto& entry) { return entry.first == tag; };
  const auto known = std::find_if(tags_.begin(), tags_.end(), same);
  if (known != tags_.end()) {
    known->second = priority;
  } else {
    tags_.emplace_back(tag, priority);
  }
}

void Filter::UpdateBounds() {
  lowest_ = highest_ = others_;
  for (const auto& entry : tags_) {
    lowest_ = std::min(lowest_, entry.second);
    highest_ = std::max(highest_, entry.second);
  }
}

bool Filter::PassesTag(int priority, const char* tag) const {
  for (const auto& entry : tags_) {
    if (entry.first == tag) return priority >= entry.second;
  }
  return priority >= others_;
}

}  // namespace platform::dlog
