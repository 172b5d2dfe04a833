// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <dlog.h>

#include <thread>

#include "traits.h"

namespace {

class Dlog : public conformance::Test {};

LINUX_TEST(Dlog, RefusesALineWithoutATag) {
  EXPECT_EQ(dlog_print(DLOG_ERROR, nullptr, "%s", "text"), DLOG_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(Dlog, RefusesALineWithoutAFormat) {
  const char* format = nullptr;
  EXPECT_EQ(dlog_print(DLOG_ERROR, "TAG", format, "text"), DLOG_ERROR_INVALID_PARAMETER);
}

DOCUMENTED_TEST(Dlog, TakesALine) {
  EXPECT_GE(dlog_print(DLOG_ERROR, "TAG", "%s %d", "a line of the conformance suite", 1), 0);
}

// The filter of a device may drop any line.
LINUX_TEST(Dlog, WritesAnError) {
  EXPECT_GT(dlog_print(DLOG_ERROR, "TAG", "%s %d", "a line of the conformance suite", 1), 0);
}

DOCUMENTED_TEST(Dlog, TakesALineOfAnyPriority) {
  for (const auto priority : {DLOG_VERBOSE, DLOG_DEBUG, DLOG_INFO, DLOG_WARN, DLOG_ERROR}) {
    EXPECT_GE(dlog_print(priority, "TAG", "%s", "a line of the conformance suite"), 0);
  }
}

DOCUMENTED_TEST(Dlog, WorksFromAnyThread) {
  int written = -1;
  std::thread([&written] {
    written = dlog_print(DLOG_ERROR, "TAG", "%s", "a line of the conformance suite");
  }).join();
  EXPECT_GE(written, 0);
}

LINUX_TEST(Dlog, WritesAnErrorOfAnyThread) {
  int written = -1;
  std::thread([&written] {
    written = dlog_print(DLOG_ERROR, "TAG", "%s", "a line of the conformance suite");
  }).join();
  EXPECT_GT(written, 0);
}

}  // namespace
