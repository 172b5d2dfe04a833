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

// Keeps other processes from filling the disk with lines that they cause. Lines are similar when
// they differ in numbers alone, such as process ids. All lines of a tag and a format have a limit
// as well, since peers may choose the names in them. Allocates nothing. Not thread-safe.
class RateLimit {
 public:
  static constexpr unsigned kMaxSimilarLines = 100;
  static constexpr unsigned kMaxLinesOfFormat = 1000;
  static constexpr std::chrono::seconds kPeriod{60};

  using Time = std::chrono::steady_clock::time_point;

  struct Decision {
    bool is_admitted = false;
    // Of an admitted line: how many similar ones were suppressed since the last one.
    uint64_t suppressed = 0;
  };
  Decision Check(Time now, std::string_view tag, std::string_view format, std::string_view message);

 private:
  // What is counted together: by hash, so that two causes may share a limit.
  struct Bucket {
    Time end{};
    unsigned lines = 0;
    uint64_t suppressed = 0;
  };
  static bool Take(Time now, unsigned most, Bucket* bucket);

  std::array<Bucket, 256> formats_{};
  std::array<Bucket, 1024> messages_{};
};

}  // namespace platform::dlog

#endif
