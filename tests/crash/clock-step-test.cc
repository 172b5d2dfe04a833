// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The wall clock is set while agents, handlers and installers run.

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>

#include "end-to-end/end-to-end-test.h"
#include "end-to-end/live-process.h"

namespace crash {
namespace {

using std::chrono::steady_clock;

constexpr long kYearSeconds = 365L * 24 * 60 * 60;

class ClockStep : public end_to_end::EndToEndTest {
 protected:
  ClockStep() {
    // The preloaded clock takes the first place, which AddressSanitizer's run-time expects for
    // itself.
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
    SetClock(0);
  }

  // Applies at once to all processes started with Under(), and to the handlers that they launch.
  void SetClock(long shift_seconds) const { std::ofstream(Clock()) << shift_seconds; }

  std::vector<std::string> Under(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(),
                     {"env", "LD_PRELOAD=" SHIFTED_CLOCK, "SHIFTED_CLOCK=" + Clock()});
    return arguments;
  }
  std::vector<std::string> Tool(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all = {BuildFolder() + "/tools/qor/qor"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return Under(all);
  }

 private:
  std::string Clock() const { return Root() + "/clock"; }
};

class ClockStepInBothDirections : public ClockStep, public testing::WithParamInterface<long> {};

INSTANTIATE_TEST_SUITE_P(By, ClockStepInBothDirections,
                         testing::Values(kYearSeconds, -kYearSeconds), [](const auto& param_info) {
                           return param_info.param > 0 ? "OneYearForward" : "OneYearBack";
                         });

TEST_P(ClockStepInBothDirections, IsSeenByProcesses) {
  SetClock(GetParam());
  const auto run = tools::RunProcess(Under({PRINT_TIME}), end_to_end::kTimeoutSeconds);
  EXPECT_NEAR(std::stod(run.output), static_cast<double>(time(nullptr) + GetParam()), 3600);
}

TEST_P(ClockStepInBothDirections, DoesNotChangeCommandTimeouts) {
  Install("text");
  end_to_end::LiveProcess agent(Tool({"agent"}));
  agent.Write(R"({"uuid":"before","type":"text.echo","payload":"1"})"
              "\n");
  ASSERT_TRUE(agent.AwaitOutput(R"("uuid":"before","outcome":"succeeded")")) << agent.Output();
  const auto sent = steady_clock::now();
  agent.Write(R"({"uuid":"silent","type":"text.forget","timeout":2000})"
              "\n");
  SetClock(GetParam());
  ASSERT_TRUE(agent.AwaitOutput(R"("uuid":"silent","outcome":"unknown")")) << agent.Output();
  EXPECT_GE(steady_clock::now() - sent, std::chrono::milliseconds(1900));
  agent.Write(R"({"uuid":"after","type":"text.echo","payload":"2"})"
              "\n");
  EXPECT_TRUE(agent.AwaitOutput(R"("uuid":"after","outcome":"succeeded")")) << agent.Output();
}

// Only backward: after a step forward, stored answers may have expired.
TEST_F(ClockStep, BackwardDoesNotRepeatCommand) {
  Install("probe");
  const auto send = [this] {
    return tools::RunProcess(Tool({"send", "probe.run", "1", "--uuid", "same"}),
                             end_to_end::kTimeoutSeconds);
  };
  const auto first = send();
  ASSERT_EQ(first.exit_status, 0) << first.errors;
  SetClock(-kYearSeconds);
  EXPECT_EQ(send().output, first.output);
  std::ifstream file(Root() + "/data/org.example.probe.handler/runs");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "same\n");
}

TEST_P(ClockStepInBothDirections, DoesNotPreventPackageUpdate) {
  const auto expect_success = [this](const std::vector<std::string>& arguments) {
    const auto run = tools::RunProcess(Tool(arguments), end_to_end::kTimeoutSeconds);
    EXPECT_EQ(run.exit_status, 0) << run.errors;
  };
  end_to_end::LiveProcess agent(Tool({"agent"}));
  expect_success({"package", "install", Packages() + "/text"});
  SetClock(GetParam());
  expect_success({"package", "update", Packages() + "/text"});
  agent.Write(R"({"uuid":"after","type":"text.echo","payload":"2"})"
              "\n");
  EXPECT_TRUE(agent.AwaitOutput(R"("uuid":"after","outcome":"succeeded")")) << agent.Output();
  expect_success({"package", "uninstall", "org.example.text"});
}

}  // namespace
}  // namespace crash
