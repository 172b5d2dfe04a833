// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/summary.h"

#include <gtest/gtest.h>

namespace tools::cli {
namespace {

Outcome Ended(OutcomeKind kind, double milliseconds = 1) {
  Outcome outcome;
  outcome.kind = kind;
  outcome.latency_ms = milliseconds;
  return outcome;
}

TEST(Summary, ReportsMeasuredLatenciesAsPercentiles) {
  Summary summary;
  for (int i = 200; i > 0; --i) summary.Add(Ended(OutcomeKind::kSuccess, i));
  EXPECT_EQ(summary.ToText(),
            "200 commands: 200 success\n"
            "latency in ms: min 1.000, median 100.000, p90 180.000, p99 198.000, max 200.000\n");
  EXPECT_EQ(summary.ToJson(),
            R"({"summary":{"commands":200,"outcomes":{"success":200},"latencyMs":{"answers":200,)"
            R"("min":1.0,"median":100.0,"p90":180.0,"p99":198.0,"max":200.0}}})");
}

TEST(Summary, ReportsTheLatencyOfOneCommand) {
  Summary summary;
  summary.Add(Ended(OutcomeKind::kHandlerFailed, 2.5));
  EXPECT_EQ(summary.ToText(),
            "1 command: 1 failed\n"
            "latency in ms: min 2.500, median 2.500, p90 2.500, p99 2.500, max 2.500\n");
}

TEST(Summary, IgnoresLatenciesWithoutAnAnswer) {
  Summary summary;
  for (const OutcomeKind kind :
       {OutcomeKind::kTimeout, OutcomeKind::kNoAnswer, OutcomeKind::kNotSupported,
        OutcomeKind::kLaunchFailed, OutcomeKind::kNotAccepted})
    summary.Add(Ended(kind));
  summary.AddInterrupted(2);
  EXPECT_EQ(summary.ToText(),
            "7 commands: 1 timeout, 1 no-answer, 1 not-supported, 1 launch-failed, "
            "1 not-accepted, 2 interrupted\n");
}

TEST(Summary, ReturnsTheExitStatusOfTheFirstError) {
  Summary summary;
  EXPECT_EQ(summary.Code(), kSuccess);
  summary.Add(Ended(OutcomeKind::kSuccess));
  EXPECT_EQ(summary.Code(), kSuccess);
  summary.Add(Ended(OutcomeKind::kTimeout));
  summary.Add(Ended(OutcomeKind::kHandlerFailed));
  EXPECT_EQ(summary.Code(), kTimeout);
}

TEST(Summary, MapsEveryOutcomeToAnExitStatus) {
  const std::pair<OutcomeKind, ExitCode> statuses[] = {
      {OutcomeKind::kHandlerFailed, kHandlerFailed},
      {OutcomeKind::kTimeout, kTimeout},
      {OutcomeKind::kNoAnswer, kTimeout},
      {OutcomeKind::kNotSupported, kNotSupported},
      {OutcomeKind::kLaunchFailed, kLaunchFailed},
      {OutcomeKind::kNotAccepted, kError},
  };
  for (const auto& [kind, status] : statuses) {
    Summary summary;
    summary.Add(Ended(kind));
    EXPECT_EQ(summary.Code(), status) << NameOf(kind);
  }
}

}  // namespace
}  // namespace tools::cli
