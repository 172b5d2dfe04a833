// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The example agents on the main loops of other libraries.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "end-to-end/end-to-end-test.h"
#include "end-to-end/live-process.h"

namespace qor {
namespace {

using end_to_end::kTimeoutSeconds;
using ::testing::HasSubstr;
using ::testing::Not;

class MainLoops : public end_to_end::EndToEndTest,
                  public ::testing::WithParamInterface<const char*> {
 protected:
  std::vector<std::string> Example(const std::string& payload) const {
    return {BuildFolder() + "/examples/example-agent-" + GetParam(), Root() + "/journal.db",
            "text.upper", payload};
  }
};

// How many times in succession the example's timer has printed the same number of steps.
int LongestIdleTime(const std::string& output) {
  int longest = 0;
  int current = 0;
  std::string before;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line); before = line) {
    current = line == before && line.find(" steps") != std::string::npos ? current + 1 : 0;
    longest = std::max(longest, current);
  }
  return longest;
}

TEST_P(MainLoops, RunAnAgentBesideATimer) {
  end_to_end::LiveProcess agent(Example("\"hello\""));
  ASSERT_TRUE(agent.AwaitOutput("submitted "));
  // The command waits for its handler. The timer does not make the agent work.
  EXPECT_TRUE(
      tools::RunUntil([&] { return LongestIdleTime(agent.Output()) >= 20; }, kTimeoutSeconds))
      << agent.Output();
  Install("text");
  EXPECT_TRUE(agent.AwaitOutput("HELLO")) << agent.Output();
  EXPECT_EQ(agent.AwaitEnd(), 0) << agent.Errors();
}

TEST_P(MainLoops, ConfirmOutcomes) {
  Install("text");
  for (const auto& [payload, result] : {std::pair{"\"one\"", "ONE"}, {"\"two\"", "TWO"}}) {
    const auto run = tools::RunProcess(Example(payload), kTimeoutSeconds);
    EXPECT_EQ(run.exit_status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr(result));
    const auto first = run.output.find("text.upper: ");
    EXPECT_EQ(run.output.rfind("text.upper: "), first) << run.output;
  }
}

TEST_P(MainLoops, EndWithAnErrorWhenACommandIsInvalid) {
  const auto run = tools::RunProcess(Example("\xff"), kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_THAT(run.errors, HasSubstr("invalid UTF-8"));
  EXPECT_THAT(run.output, Not(HasSubstr("submitted")));
}

INSTANTIATE_TEST_SUITE_P(Examples, MainLoops, ::testing::Values("poll", "glib", "libuv", "qt"),
                         [](const auto& loop) { return std::string(loop.param); });

}  // namespace
}  // namespace qor
