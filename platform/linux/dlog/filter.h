// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_DLOG_FILTER_H_
#define PLATFORM_LINUX_DLOG_FILTER_H_

#include <dlog.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace platform::dlog {

// Which lines are written: a lowest priority for each named tag and one for all others.
class Filter {
 public:
  // Warnings and worse.
  Filter() = default;

  // Reads blank-separated "TAG:PRIORITY" with the letters V D I W E F S. "TAG" alone lets
  // everything of that tag pass, "*" alone debug lines and up; of two for one tag the later counts.
  // Empty when the text is none.
  static std::optional<Filter> Parse(const std::string& text);

  // Costs nanoseconds: no lock, no allocation, no system call.
  bool Passes(int priority, const char* tag) const {
    if (priority < lowest_) return false;
    return priority >= highest_ || PassesTag(priority, tag);
  }

 private:
  bool PassesTag(int priority, const char* tag) const;
  bool Add(const std::string& spec);
  void Set(const std::string& tag, int priority);
  void FindBounds();

  int others_ = DLOG_WARN;
  std::vector<std::pair<std::string, int>> tags_;
  // The lowest and highest of all priorities above: most lines are decided by these alone.
  int lowest_ = DLOG_WARN;
  int highest_ = DLOG_WARN;
};

}  // namespace platform::dlog

#endif
