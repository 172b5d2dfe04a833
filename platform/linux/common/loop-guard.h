// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_LOOP_GUARD_H_
#define PLATFORM_LINUX_COMMON_LOOP_GUARD_H_

#include <dlog.h>

#include <exception>

namespace platform {

// Runs what the main loop calls. The loop is C: an exception ends here, in the log.
template <typename Action>
void RunOnLoop(Action action) {
  try {
    action();
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, "MAIN_LOOP", "%s", error.what());
  }
}

}  // namespace platform

#endif
