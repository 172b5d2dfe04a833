// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An agent that is killed before each system call by which the rest of the world sees something of
// it, and started again.
#include <signal.h>
#include <sys/syscall.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "end-to-end/end-to-end-test.h"
#include "platform/linux/common/process-list.h"
#include "platform/linux/tests/support/kill-at-system-call.h"
#include "platform/linux/tests/support/program.h"

namespace deaths {
namespace {

namespace fs = std::filesystem;
using end_to_end::kPatienceSeconds;

bool IsSeen(const __ptrace_syscall_info& call) {
  switch (call.entry.nr) {
    case SYS_sendto:
    case SYS_recvfrom:
    case SYS_accept4:
    case SYS_connect:
    case SYS_bind:
    case SYS_listen:
    case SYS_flock:
    case SYS_clone:
    case SYS_clone3:
#ifdef SYS_vfork
    case SYS_vfork:
#endif
#ifdef SYS_socketcall
    case SYS_socketcall:
#endif
      return true;
    default:
      return platform::test::ChangesFiles(call);
  }
}

class AgentDeaths : public end_to_end::EndToEndTest {
 protected:
  AgentDeaths() {
    // The leak checker cannot work in a process that is traced.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    Install("probe");
  }

  static std::vector<std::string> Agent(const std::string& uuid) { return {MORTAL_AGENT, uuid}; }
  void ExpectAnswer(const std::string& uuid, const std::string& answer) {
    const auto run = tools::RunProcess(Agent(uuid), kPatienceSeconds);
    EXPECT_EQ(run.output, answer + "\n") << run.errors;
  }
  // Uuids of the commands that the handler ran, a line each.
  std::string Runs() const {
    std::ifstream file(Root() + "/data/org.example.probe.handler/runs");
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
};

// Whether the handler is launched for each command, or goes on running and connects again.
class AgentDeathsAtAnyStep : public AgentDeaths, public testing::WithParamInterface<bool> {
 protected:
  void KillHandler() const {
    const auto is_it = [this](const platform::Executable& executable) {
      return executable.path.compare(0, Root().size(), Root()) == 0;
    };
    for (const pid_t pid : platform::ProcessesWhere(is_it)) {
      kill(pid, SIGKILL);
      ASSERT_TRUE(platform::test::AwaitEnd(pid));
    }
  }
};

INSTANTIATE_TEST_SUITE_P(With, AgentDeathsAtAnyStep, testing::Bool(), [](const auto& param_info) {
  return param_info.param ? "ALaunchOfTheHandler" : "AHandlerThatGoesOn";
});

TEST_P(AgentDeathsAtAnyStep, AreMadeGoodByTheNextStart) {
  std::string runs;
  int step = 1;
  for (;; ++step) {
    SCOPED_TRACE("killed at step " + std::to_string(step));
    const std::string uuid = "command-" + std::to_string(step);
    if (GetParam()) KillHandler();
    const bool was_killed = platform::test::KillAtStep(Agent(uuid), step, IsSeen);
    ExpectAnswer(uuid, std::to_string(step));
    // Once, whether the first agent brought it to the handler or the second.
    runs += uuid + "\n";
    EXPECT_EQ(Runs(), runs);
    if (HasFailure() || !was_killed) break;
  }
  RecordProperty("steps", step - 1);
  EXPECT_GT(step, 20) << "too few steps to have killed at every one";
  EXPECT_EQ(Qor({"package", "list"}).output.substr(0, 17), "org.example.probe");
}

TEST_F(AgentDeaths, LeaveARegistryFileThatNeverKeepsTheNextOneFromStarting) {
  const std::string folder = Root() + "/data/host.mortal-agent";
  ExpectAnswer("one", "1");
  const std::string file = folder + "/.qor-handlers.db";
  for (uintmax_t left = fs::file_size(file); left > 0; left /= 2) {
    fs::resize_file(file, left - 1);
    ExpectAnswer("one", "1");
  }
}

}  // namespace
}  // namespace deaths
