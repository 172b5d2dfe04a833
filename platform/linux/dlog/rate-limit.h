// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_DLOG_RATE_LIMIT_H_
#define PLATFORM_LINUX_DLOG_RATE_LIMIT_H_

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform::dlog {

// Prevents other processes from filling the disk with lines that they cause. Limits similar lines,
// which differ only in numbers such as process ids, and all lines of a tag and a format, because
// peers may choose the names in them. Allocates nothing. Not thread-safe.
class RateLimit {
 public:
  static constexpr unsigned kMaxSimilarLines = 100;
  static constexpr unsigned kMaxLinesOfFormat = 1000;
  static constexpr std::chrono::seconds kPeriod{60};

  using Time = std::chrono::steady_clock::time_point;

  struct Decision {
    bool is_admitted = false;
    // For an admitted line: the number of similar lines suppressed since the last one.
    uint64_t suppressed = 0;
  };
  Decision Check(Time now, std::string_view tag, std::string_view format, std::string_view message);

 private:
  // Counts lines with the same hash; on a collision two formats or messages share the limit.
  struct Bucket {
    Time end{};
    unsigned lines = 0;
    uint64_t suppressed = 0;
  };
  static bool Count(Time now, unsigned max_lines, Bucket* bucket);

  std::array<Bucket, 256> formats_{};
  std::array<Bucket, 1024> messages_{};
};

}  // namespace platform::dlog

#endif
