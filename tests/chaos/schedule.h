// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_SCHEDULE_H_
#define TESTS_CHAOS_SCHEDULE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace chaos {

enum class Action {
  kSend,              // a command of `type` with `bytes` of payload that takes `milliseconds`
  kKillHandler,       // SIGKILL
  kPauseHandler,      // SIGSTOP, and SIGCONT after `milliseconds`
  kKillAgent,         // SIGKILL, and a new one
  kTerminateAgent,    // is asked to end, and a new one
  kPauseAgent,        // as kPauseHandler
  kRestartLibrary,    // shut-down and start in the same agent
  kInstall,           // the package of `handler` in `version`, new or in place of another
  kUninstall,         // it
  kInterruptInstall,  // as kInstall, and SIGKILL to the installer after `milliseconds`
  kFillDisk,          // no room below the root for `milliseconds`
};

struct Step {
  std::int64_t at_milliseconds = 0;
  Action action = Action::kSend;
  int handler = 0;
  int version = 0;
  std::string type;
  int milliseconds = 0;
  int bytes = 0;
};

// What happens when, in order. The seed and the length alone decide it. In the second half no agent
// ends, so that one of them grows old.
std::vector<Step> MakeSchedule(std::uint64_t seed, int seconds);

}  // namespace chaos

#endif
