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

// Selects the lines to write: a minimum priority for each named tag and one for all others.
class Filter {
 public:
  // Warnings and above.
  Filter() = default;

  // Parses blank-separated "TAG:PRIORITY" with the priorities V D I W E F S. "TAG" alone selects
  // all lines of the tag, "*" alone debug lines and above. The last entry for a tag applies. Empty
  // when the text is invalid.
  static std::optional<Filter> Parse(const std::string& text);

  // Called for every line, so it takes no lock, allocates nothing and makes no system call.
  bool Passes(int priority, const char* tag) const {
    if (priority < lowest_) return false;
    return priority >= highest_ || PassesTag(priority, tag);
  }

 private:
  bool PassesTag(int priority, const char* tag) const;
  bool Add(const std::string& spec);
  void Set(const std::string& tag, int priority);
  void UpdateBounds();

  int others_ = DLOG_WARN;
  std::vector<std::pair<std::string, int>> tags_;
  // The minimum and maximum of the priorities above, which decide most lines without a search.
  int lowest_ = DLOG_WARN;
  int highest_ = DLOG_WARN;
};

}  // namespace platform::dlog

#endif
