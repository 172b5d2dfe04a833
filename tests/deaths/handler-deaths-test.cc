// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that is killed at each step of a command's road.
#include <Ecore.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ostream>

#include "end-to-end/end-to-end-test.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/tests/support/program.h"

namespace deaths {
namespace {

using end_to_end::kPatienceSeconds;

// What becomes of the command when nothing else happens.
enum class Alone { kConnectionTimeout, kExecutionTimeout, kResult, kWaits };

struct Step {
  const char* name;
  Alone alone;
};

constexpr Step kSteps[] = {
    {"start", Alone::kConnectionTimeout},
    {"launched", Alone::kConnectionTimeout},
    {"connecting", Alone::kConnectionTimeout},
    // It lost its connection timer, and gets no other one before somebody asks for it.
    {"connected", Alone::kWaits},
    {"fetched", Alone::kExecutionTimeout},
    {"delivered", Alone::kExecutionTimeout},
    {"half-result", Alone::kExecutionTimeout},
    {"result", Alone::kResult},
};

void PrintTo(const Step& step, std::ostream* out) { *out << step.name; }

class HandlerDeaths : public end_to_end::EndToEndTest, public testing::WithParamInterface<Step> {
 protected:
  HandlerDeaths() {
    Install("rude");
    const std::string path = Root() + "/born";
    mkfifo(path.c_str(), 0600);
    born_ = platform::UniqueFd(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    setenv("RUDE_STEP", GetParam().name, 1);
  }
  ~HandlerDeaths() override { unsetenv("RUDE_STEP"); }

  // From then on handlers live. The agent has seen the one before die.
  void AwaitDeath() {
    pid_t pid = 0;
    // The end of a child wakes the main loop.
    const auto is_dead = [&] {
      if (pid == 0 && read(born_.Get(), &pid, sizeof pid) != sizeof pid) return false;
      return platform::test::HasEnded(pid);
    };
    ASSERT_TRUE(tools::RunUntil(is_dead, kPatienceSeconds));
    // What it left in the sockets is there: some events, and then their ends.
    for (int i = 0; i < 10; ++i) ecore_main_loop_iterate();
    unsetenv("RUDE_STEP");
  }

 private:
  platform::UniqueFd born_;
};

const auto kNameOfStep = [](const auto& param_info) {
  std::string name = param_info.param.name;
  if (const auto dash = name.find('-'); dash != std::string::npos) name[dash] = '_';
  return name;
};

INSTANTIATE_TEST_SUITE_P(At, HandlerDeaths, testing::ValuesIn(kSteps), kNameOfStep);

TEST_P(HandlerDeaths, EndTheCommandAsTheRulesSay) {
  constexpr int kSoon = 1'000;
  constexpr int kNever = 600'000;
  const Alone alone = GetParam().alone;
  auto& agent = StartAgent(alone == Alone::kExecutionTimeout ? kSoon : kNever,
                           alone == Alone::kConnectionTimeout ? kSoon : kNever);
  ASSERT_EQ(agent.Send("one", "rude.answer", "1"), 0);
  if (alone == Alone::kWaits) {
    AwaitDeath();
    EXPECT_TRUE(agent.Responses().empty());
    return;
  }
  const auto response = AwaitResponse("one");
  if (alone == Alone::kResult) {
    EXPECT_EQ(response.result, "1");
  } else {
    EXPECT_EQ(response.status, QOR_REQUEST_STATUS_FAILED);
    EXPECT_NE(response.error.find("\"ErrorCode\": 2004"), std::string::npos) << response.error;
    EXPECT_NE(response.error.find(alone == Alone::kExecutionTimeout ? "Execution time out"
                                                                    : "Connection time out"),
              std::string::npos)
        << response.error;
  }
  AwaitDeath();
  EXPECT_EQ(agent.Responses().size(), 1u);
}

TEST_P(HandlerDeaths, AreMadeGoodByTheNextCommand) {
  auto& agent = StartAgent();
  ASSERT_EQ(agent.Send("one", "rude.answer", "1"), 0);
  AwaitDeath();
  EXPECT_EQ(agent.Responses().size(), GetParam().alone == Alone::kResult ? 1u : 0u);
  EXPECT_EQ(Execute("two", "rude.answer", "2").result, "2");
  ASSERT_EQ(agent.Responses().size(), 2u);
  EXPECT_EQ(agent.Responses()[0].uuid, "one");
  EXPECT_EQ(agent.Responses()[0].result, "1");
}

// The process dies with the second command's launch request in its socket.
using HandlerDeathsWhileLaunched = HandlerDeaths;

INSTANTIATE_TEST_SUITE_P(At, HandlerDeathsWhileLaunched,
                         testing::Values(kSteps[0], kSteps[1], kSteps[2]), kNameOfStep);

TEST_P(HandlerDeathsWhileLaunched, AreMadeGoodByACommandBeforeThem) {
  auto& agent = StartAgent();
  ASSERT_EQ(agent.Send("one", "rude.answer", "1"), 0);
  unsetenv("RUDE_STEP");
  ASSERT_EQ(agent.Send("two", "rude.answer", "2"), 0);
  EXPECT_EQ(AwaitResponse("one").result, "1");
  EXPECT_EQ(AwaitResponse("two").result, "2");
}

}  // namespace
}  // namespace deaths
