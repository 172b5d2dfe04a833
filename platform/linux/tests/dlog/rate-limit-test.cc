// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/dlog/rate-limit.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

using platform::dlog::RateLimit;

namespace {

class DlogRateLimit : public testing::Test {
 protected:
  // Returns how many of `count` lines are admitted.
  template <typename MessageOf>
  unsigned Admitted(unsigned count, MessageOf message_of, const char* format = "format") {
    unsigned admitted = 0;
    for (unsigned i = 0; i < count; ++i) {
      const auto decision = limit_->Check(now_, "TAG", format, message_of(i));
      if (decision.is_admitted) ++admitted;
      suppressed_ += decision.suppressed;
    }
    return admitted;
  }

  static std::string Similar(unsigned i) { return "process " + std::to_string(i); }
  // Messages that differ in letters.
  static std::string Different(unsigned i) {
    return {static_cast<char>('a' + i / 676 % 26), static_cast<char>('a' + i / 26 % 26),
            static_cast<char>('a' + i % 26)};
  }

  const std::unique_ptr<RateLimit> limit_ = std::make_unique<RateLimit>();
  RateLimit::Time now_{std::chrono::hours(1)};
  uint64_t suppressed_ = 0;
};

}  // namespace

TEST_F(DlogRateLimit, LimitsSimilarLinesPerPeriod) {
  EXPECT_EQ(Admitted(1000, Similar), RateLimit::kMaxSimilarLines);
  EXPECT_EQ(Admitted(1, Different), 1U);
}

TEST_F(DlogRateLimit, ResetsWithNextPeriodAndReportsSuppressedLines) {
  Admitted(1000, Similar);
  EXPECT_EQ(suppressed_, 0U);
  now_ += RateLimit::kPeriod - std::chrono::nanoseconds(1);
  EXPECT_EQ(Admitted(1, Similar), 0U);
  now_ += std::chrono::nanoseconds(1);
  EXPECT_EQ(Admitted(1000, Similar), RateLimit::kMaxSimilarLines);
  EXPECT_EQ(suppressed_, 1001 - RateLimit::kMaxSimilarLines);
}

TEST_F(DlogRateLimit, LimitsLinesOfFormat) {
  EXPECT_EQ(Admitted(10'000, Different), RateLimit::kMaxLinesOfFormat);
  EXPECT_EQ(Admitted(1, Similar, "another format"), 1U);
  EXPECT_EQ(limit_->Check(now_, "OTHER", "format", "text").is_admitted, true);
}
