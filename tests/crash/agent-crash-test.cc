// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Kills an agent before each system call that has an effect outside its process, and starts it
// again.

#include <signal.h>
#include <sys/syscall.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "end-to-end/end-to-end-test.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/tests/support/kill-at-system-call.h"
#include "platform/linux/tests/support/program.h"

namespace crash {
namespace {

namespace fs = std::filesystem;
using end_to_end::kTimeoutSeconds;

// Whether other processes or the file system can observe the call.
bool IsObservable(const __ptrace_syscall_info& call) {
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
      return platform::test::ModifiesFiles(call);
  }
}

class AgentCrash : public end_to_end::EndToEndTest {
 protected:
  AgentCrash() {
    // LeakSanitizer attaches to the process, which fails while this test traces it.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    Install("probe");
  }

  static std::vector<std::string> AgentCommand(const std::string& uuid) {
    return {ONE_SHOT_AGENT, uuid, "probe.run"};
  }
  void ExpectResult(const std::string& uuid, const std::string& result) {
    const auto run = tools::RunProcess(AgentCommand(uuid), kTimeoutSeconds);
    EXPECT_EQ(run.output, result + "\n") << run.errors;
  }
  // Uuids of the commands that the handler has executed, one per line.
  std::string Runs() const {
    std::ifstream file(Root() + "/data/org.example.probe.handler/runs");
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
};

// The parameter: whether the handler is launched for each command or keeps running and reconnects.
class AgentCrashAtAnyStep : public AgentCrash, public testing::WithParamInterface<bool> {
 protected:
  void KillHandler() const {
    const auto is_handler = [this](const platform::Executable& executable) {
      return executable.path.compare(0, Root().size(), Root()) == 0;
    };
    for (const pid_t pid : platform::FindProcesses(is_handler)) {
      kill(pid, SIGKILL);
      ASSERT_TRUE(platform::test::AwaitEnd(pid));
    }
  }
};

INSTANTIATE_TEST_SUITE_P(With, AgentCrashAtAnyStep, testing::Bool(), [](const auto& param_info) {
  return param_info.param ? "HandlerLaunch" : "RunningHandler";
});

TEST_P(AgentCrashAtAnyStep, NextStartExecutesCommandOnce) {
  std::string runs;
  int step = 1;
  for (;; ++step) {
    SCOPED_TRACE("killed at step " + std::to_string(step));
    const std::string uuid = "command-" + std::to_string(step);
    if (GetParam()) KillHandler();
    const bool was_killed =
        platform::test::KillAtSystemCall(AgentCommand(uuid), step, IsObservable);
    ExpectResult(uuid, std::to_string(step));
    // Exactly once, whether the first or the second agent delivered the command.
    runs += uuid + "\n";
    EXPECT_EQ(Runs(), runs);
    if (HasFailure() || !was_killed) break;
  }
  RecordProperty("steps", step - 1);
  EXPECT_GT(step, 20) << "too few steps for a whole command";
  EXPECT_EQ(Qor({"package", "list"}).output.substr(0, 17), "org.example.probe");
}

TEST_F(AgentCrash, TruncatedRegistryFileDoesNotPreventStart) {
  const std::string folder = Root() + "/data/host.one-shot-agent";
  ExpectResult("one", "1");
  const std::string file = folder + "/.qor-handlers.db";
  for (uintmax_t left = fs::file_size(file); left > 0; left /= 2) {
    fs::resize_file(file, left - 1);
    ExpectResult("one", "1");
  }
}

}  // namespace
}  // namespace crash
