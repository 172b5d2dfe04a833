// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include "platform/linux/dlog/filter.h"

using platform::dlog::Filter;

TEST(DlogFilter, PassesWarningsByDefault) {
  const Filter filter;
  EXPECT_TRUE(filter.Passes(DLOG_WARN, "ANY"));
  EXPECT_FALSE(filter.Passes(DLOG_INFO, "ANY"));
}

TEST(DlogFilter, PrefersNamedTag) {
  const auto filter = Filter::Parse("LOUD:D QUIET:F *:W");
  ASSERT_TRUE(filter);
  EXPECT_TRUE(filter->Passes(DLOG_DEBUG, "LOUD"));
  EXPECT_FALSE(filter->Passes(DLOG_VERBOSE, "LOUD"));
  EXPECT_FALSE(filter->Passes(DLOG_ERROR, "QUIET"));
  EXPECT_TRUE(filter->Passes(DLOG_FATAL, "QUIET"));
  EXPECT_TRUE(filter->Passes(DLOG_WARN, "OTHER"));
  EXPECT_FALSE(filter->Passes(DLOG_DEBUG, "LOUDER"));
}

TEST(DlogFilter, PassesAllLinesOfBareTag) {
  const auto filter = Filter::Parse("TAG");
  ASSERT_TRUE(filter);
  EXPECT_TRUE(filter->Passes(DLOG_VERBOSE, "TAG"));
  EXPECT_FALSE(filter->Passes(DLOG_INFO, "OTHER"));
}

TEST(DlogFilter, PassesDebugForBareStar) {
  const auto filter = Filter::Parse("*");
  ASSERT_TRUE(filter);
  EXPECT_TRUE(filter->Passes(DLOG_DEBUG, "ANY"));
  EXPECT_FALSE(filter->Passes(DLOG_VERBOSE, "ANY"));
}

TEST(DlogFilter, DropsEverythingWithS) {
  const auto filter = Filter::Parse("*:s");
  ASSERT_TRUE(filter);
  EXPECT_FALSE(filter->Passes(DLOG_FATAL, "ANY"));
}

TEST(DlogFilter, SplitsTagAtLastColon) {
  const auto filter = Filter::Parse("a::b:E");
  ASSERT_TRUE(filter);
  EXPECT_FALSE(filter->Passes(DLOG_WARN, "a::b"));
  EXPECT_TRUE(filter->Passes(DLOG_WARN, "a"));
}

TEST(DlogFilter, RejectsInvalidFilters) {
  for (const char* text : {"TAG:X", "TAG:", ":W", "TAG:WW", "*:W TAG:?"}) {
    EXPECT_FALSE(Filter::Parse(text)) << text;
  }
}

TEST(DlogFilter, KeepsDefaultForEmptyText) {
  const auto filter = Filter::Parse("  ");
  ASSERT_TRUE(filter);
  EXPECT_TRUE(filter->Passes(DLOG_WARN, "ANY"));
  EXPECT_FALSE(filter->Passes(DLOG_INFO, "ANY"));
}
