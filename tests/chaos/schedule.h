// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_SCHEDULE_H_
#define TESTS_CHAOS_SCHEDULE_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace chaos {

enum class Action {
  kSend,                // a command of `type` with `bytes` of payload that takes `duration`
  kKillHandler,         // SIGKILL
  kPauseHandler,        // SIGSTOP, and SIGCONT after `duration`
  kKillAgent,           // SIGKILL, then start a new one
  kTerminateAgent,      // close its input, then start a new one
  kPauseAgent,          // as kPauseHandler
  kRestartLibrary,      // shut-down and start in the same agent
  kInstall,             // install `handler`'s package, or update it to `version`
  kUninstall,           // uninstall `handler`'s package
  kInterruptInstall,    // as kInstall, and SIGKILL to the installer after `duration`
  kFillDisk,            // ENOSPC below the root for `duration`
  kSubmit,              // a durable command, as kSend
  kKillDurableAgent,    // SIGKILL, then start a new one with the same journal
  kPauseDurableAgent,   // as kPauseHandler
  kReopenDurableAgent,  // close and open it in the same process
};

struct Step {
  std::chrono::milliseconds at{0};
  Action action = Action::kSend;
  int handler = 0;
  int version = 0;
  std::string type;
  std::chrono::milliseconds duration{0};
  int bytes = 0;
};

// Returns the steps of a run in order, a function of seed and length only. In the second half no
// agent is killed or terminated, so that one agent runs long enough to show memory leaks.
std::vector<Step> MakeSchedule(std::uint64_t seed, std::chrono::seconds length);

}  // namespace chaos

#endif
