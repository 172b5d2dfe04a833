// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/summary.h"

#include <gtest/gtest.h>

#include <chrono>

namespace tools::cli {
namespace {

CommandResult Ended(qor_agent_outcome_kind_e kind, double milliseconds = 1) {
  CommandResult result;
  result.outcome.kind = kind;
  result.latency = std::chrono::duration<double, std::milli>(milliseconds);
  return result;
}

CommandResult NotDelivered(qor_agent_reason_e reason) {
  CommandResult result = Ended(QOR_AGENT_NOT_DELIVERED);
  result.outcome.reason = reason;
  return result;
}

CommandResult Rejected(int error) {
  CommandResult result;
  result.rejection = error;
  return result;
}

TEST(Summary, ReportsMeasuredLatenciesAsPercentiles) {
  Summary summary;
  for (int i = 200; i > 0; --i) summary.Add(Ended(QOR_AGENT_SUCCEEDED, i));
  EXPECT_EQ(summary.ToText(),
            "200 commands: 200 succeeded\n"
            "latency in ms: min 1.000, median 100.000, p90 180.000, p99 198.000, max 200.000\n");
  EXPECT_EQ(summary.ToJson(),
            R"({"summary":{"commands":200,"outcomes":{"succeeded":200},"latencyMs":{"answers":200,)"
            R"("min":1.0,"median":100.0,"p90":180.0,"p99":198.0,"max":200.0}}})");
}

TEST(Summary, ReportsTheLatencyOfOneCommand) {
  Summary summary;
  summary.Add(Ended(QOR_AGENT_FAILED, 2.5));
  EXPECT_EQ(summary.ToText(),
            "1 command: 1 failed\n"
            "latency in ms: min 2.500, median 2.500, p90 2.500, p99 2.500, max 2.500\n");
}

TEST(Summary, IgnoresLatenciesWithoutAnAnswer) {
  Summary summary;
  summary.Add(Ended(QOR_AGENT_UNKNOWN));
  summary.Add(NotDelivered(QOR_AGENT_REASON_NO_HANDLER));
  summary.Add(NotDelivered(QOR_AGENT_REASON_LAUNCH_FAILED));
  summary.Add(Rejected(QOR_AGENT_ERROR_CONFLICT));
  summary.AddInterrupted(2);
  EXPECT_EQ(summary.ToText(),
            "6 commands: 2 not-delivered, 1 rejected, 1 unknown, 2 interrupted\n");
}

TEST(Summary, ReturnsTheExitStatusOfTheFirstError) {
  Summary summary;
  EXPECT_EQ(summary.Code(), kSuccess);
  summary.Add(Ended(QOR_AGENT_SUCCEEDED));
  EXPECT_EQ(summary.Code(), kSuccess);
  summary.Add(Ended(QOR_AGENT_UNKNOWN));
  summary.Add(Ended(QOR_AGENT_FAILED));
  EXPECT_EQ(summary.Code(), kNoAnswer);
}

TEST(Summary, MapsEveryOutcomeToAnExitStatus) {
  const std::pair<CommandResult, ExitCode> statuses[] = {
      {Ended(QOR_AGENT_SUCCEEDED), kSuccess},
      {Ended(QOR_AGENT_FAILED), kHandlerFailed},
      {Ended(QOR_AGENT_UNKNOWN), kNoAnswer},
      {NotDelivered(QOR_AGENT_REASON_NO_HANDLER), kNoHandler},
      {NotDelivered(QOR_AGENT_REASON_LAUNCH_FAILED), kLaunchFailed},
      {NotDelivered(QOR_AGENT_REASON_NOT_CONNECTED), kNoAnswer},
      {NotDelivered(QOR_AGENT_REASON_NOT_SENT), kNoAnswer},
      {Rejected(QOR_AGENT_ERROR_CONFLICT), kError},
  };
  for (const auto& [result, status] : statuses) {
    Summary summary;
    summary.Add(result);
    EXPECT_EQ(summary.Code(), status) << NameOf(result) << " " << result.outcome.reason;
  }
}

}  // namespace
}  // namespace tools::cli
