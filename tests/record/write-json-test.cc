// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <algorithm>

#include "lines.h"
#include "record/writers.h"

namespace tools::record {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kLines =
    Line(90, "start", R"(,"program":"agent","wall":1700000000000000)") + Sent(100, "u") +
    Routed(101, "u", "h") + Launched(102, "u", "h") + Accepted(103, "u") + Connected(104, "h") +
    Delivered(105, "u", "h") + Extended(106, "u", 2.5, true) + TimedOut(110, "u", "execution") +
    Answered(120, "u", "h") + Sent(121, "v") + Refused(122, "v", -22) + Sent(123, "w") +
    Answered(129, "w", "h") + Connected(130, "h", "i", false) + Exited(130, "h", 3, 9) +
    Line(131, "stopped") + Line(132, "end");

std::string LineWith(const std::string& text, const std::string& part) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.find(part) != std::string::npos) return line;
  }
  return {};
}

TEST(WriteJson, RoundTrips) {
  const std::string once = Written(WriteJson, RecordOf(kLines));
  EXPECT_EQ(Written(WriteJson, RecordOf(once)), once);
  EXPECT_EQ(std::count(once.begin(), once.end(), '\n'),
            std::count(kLines.begin(), kLines.end(), '\n'));
}

TEST(WriteJson, KeepsEveryMemberOfEveryEvent) {
  const std::string text = Written(WriteJson, RecordOf(kLines));
  std::istringstream lines(kLines);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_THAT(text, HasSubstr(line.substr(0, line.size() - 1))) << line;
  }
}

TEST(WriteJson, AddsTheCommandAndTheTimeSinceItWasSent) {
  const std::string text = Written(WriteJson, RecordOf(kLines));
  EXPECT_THAT(LineWith(text, "delivered"), HasSubstr(R"("at":15,"command":1,"sinceSent":5})"));
  EXPECT_THAT(LineWith(text, R"("event":"connected")"), Not(HasSubstr("sinceSent")));
}

TEST(WriteJson, AddsTheOutcomeToTheLastEventAndMarksLateResults) {
  const std::string text = Written(WriteJson, RecordOf(kLines));
  EXPECT_THAT(LineWith(text, "timed-out"), HasSubstr(R"("outcome":"execution timeout"})"));
  EXPECT_THAT(LineWith(text, R"("answered","uuid":"u")"), HasSubstr(R"("late":true})"));
  EXPECT_THAT(LineWith(text, R"("answered","uuid":"u")"), Not(HasSubstr("outcome")));
  EXPECT_THAT(LineWith(text, R"("answered","uuid":"w")"), HasSubstr(R"("outcome":"success"})"));
  EXPECT_THAT(LineWith(text, "refused"),
              HasSubstr(R"("command":2,"sinceSent":1,"outcome":"refused"})"));
}

}  // namespace
}  // namespace tools::record
