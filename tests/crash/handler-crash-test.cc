// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Kills a handler at each step of a command's delivery and result.

#include <Ecore.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ostream>

#include "common/timeout-errors.h"
#include "end-to-end/end-to-end-test.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/tests/support/program.h"

namespace crash {
namespace {

using end_to_end::kTimeoutSeconds;

// Outcome of the command when no further command is sent.
enum class Outcome { kConnectionTimeout, kExecutionTimeout, kResult, kStaysPending };

struct Step {
  const char* name;
  Outcome outcome;
};

constexpr Step kSteps[] = {
    {"start", Outcome::kConnectionTimeout},
    {"launched", Outcome::kConnectionTimeout},
    {"connecting", Outcome::kConnectionTimeout},
    // The connection stops the connection timer; the execution timer starts with the fetch.
    {"connected", Outcome::kStaysPending},
    {"fetched", Outcome::kExecutionTimeout},
    {"delivered", Outcome::kExecutionTimeout},
    {"half-result", Outcome::kExecutionTimeout},
    {"result", Outcome::kResult},
};

void PrintTo(const Step& step, std::ostream* out) { *out << step.name; }

class HandlerCrash : public end_to_end::EndToEndTest, public testing::WithParamInterface<Step> {
 protected:
  HandlerCrash() {
    Install("crashing");
    const std::string path = Root() + "/started";
    mkfifo(path.c_str(), 0600);
    started_ = platform::UniqueFd(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    setenv("CRASH_STEP", GetParam().name, 1);
  }
  ~HandlerCrash() override { unsetenv("CRASH_STEP"); }

  // Returns when the agent has seen the handler crash; handlers launched after that do not crash.
  void AwaitCrash() {
    pid_t pid = 0;
    // SIGCHLD wakes the main loop.
    const auto has_crashed = [&] {
      if (pid == 0 && read(started_.Get(), &pid, sizeof pid) != sizeof pid) return false;
      return platform::test::HasEnded(pid);
    };
    ASSERT_TRUE(tools::RunUntil(has_crashed, kTimeoutSeconds));
    // Serves what the handler left in its sockets, and then their end.
    for (int i = 0; i < 10; ++i) ecore_main_loop_iterate();
    unsetenv("CRASH_STEP");
  }

 private:
  platform::UniqueFd started_;
};

const auto kNameOfStep = [](const auto& param_info) {
  std::string name = param_info.param.name;
  if (const auto dash = name.find('-'); dash != std::string::npos) name[dash] = '_';
  return name;
};

INSTANTIATE_TEST_SUITE_P(At, HandlerCrash, testing::ValuesIn(kSteps), kNameOfStep);

TEST_P(HandlerCrash, CommandGetsExpectedOutcome) {
  constexpr int kSoonMs = 1'000;
  constexpr int kNeverMs = 600'000;
  const Outcome outcome = GetParam().outcome;
  auto& agent = StartAgent(outcome == Outcome::kExecutionTimeout ? kSoonMs : kNeverMs,
                           outcome == Outcome::kConnectionTimeout ? kSoonMs : kNeverMs);
  ASSERT_EQ(agent.Send("one", "crashing.answer", "1"), 0);
  if (outcome == Outcome::kStaysPending) {
    AwaitCrash();
    EXPECT_TRUE(agent.Responses().empty());
    return;
  }
  const auto response = AwaitResponse("one");
  if (outcome == Outcome::kResult) {
    EXPECT_EQ(response.result, "1");
  } else {
    EXPECT_EQ(response.status, QOR_REQUEST_STATUS_FAILED);
    EXPECT_EQ(response.error, outcome == Outcome::kExecutionTimeout
                                  ? common::kExecutionTimeoutError
                                  : common::kConnectionTimeoutError);
  }
  AwaitCrash();
  EXPECT_EQ(agent.Responses().size(), 1u);
}

TEST_P(HandlerCrash, NextCommandRelaunchesHandler) {
  auto& agent = StartAgent();
  ASSERT_EQ(agent.Send("one", "crashing.answer", "1"), 0);
  AwaitCrash();
  EXPECT_EQ(agent.Responses().size(), GetParam().outcome == Outcome::kResult ? 1u : 0u);
  EXPECT_EQ(Execute("two", "crashing.answer", "2").result, "2");
  ASSERT_EQ(agent.Responses().size(), 2u);
  EXPECT_EQ(agent.Responses()[0].uuid, "one");
  EXPECT_EQ(agent.Responses()[0].result, "1");
}

// The handler crashes while the second command's launch request is queued in its socket.
using HandlerCrashDuringLaunch = HandlerCrash;

INSTANTIATE_TEST_SUITE_P(At, HandlerCrashDuringLaunch,
                         testing::Values(kSteps[0], kSteps[1], kSteps[2]), kNameOfStep);

TEST_P(HandlerCrashDuringLaunch, QueuedCommandRelaunchesHandler) {
  auto& agent = StartAgent();
  ASSERT_EQ(agent.Send("one", "crashing.answer", "1"), 0);
  unsetenv("CRASH_STEP");
  ASSERT_EQ(agent.Send("two", "crashing.answer", "2"), 0);
  EXPECT_EQ(AwaitResponse("one").result, "1");
  EXPECT_EQ(AwaitResponse("two").result, "2");
}

}  // namespace
}  // namespace crash
