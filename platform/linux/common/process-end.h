// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_PROCESS_END_H_
#define PLATFORM_LINUX_COMMON_PROCESS_END_H_

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

namespace platform {

// How a process of a launched application ended.
struct ProcessEnd {
  enum class Kind {
    kExited,      // with `number` as exit status
    kKilled,      // by the signal `number`
    kNotStarted,  // its executable could not be executed, as `cause` says
    kUnknown,     // the program that launched it has waited for its children itself
  };

  Kind kind = Kind::kUnknown;
  int number = 0;
  // Whether a signal produced a core dump. False when unknown.
  bool dumped_core = false;
  // What is known in addition, such as "libfoo.so.0 not found"; one line. May be empty.
  std::string cause;
  // Whether the process had connected to a port of its launcher. Not stored.
  bool has_connected = false;
  // 0 for kNotStarted.
  pid_t pid = 0;
  std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
};

// Returns one line: "exited with status 127: libfoo.so.0 not found", "killed by signal 11
// (Segmentation fault), core dumped".
std::string Describe(const ProcessEnd& end);

// Replaces the stored end of the application, atomically and without fsync(). Does nothing when the
// application has no log or the file cannot be written.
void StoreLastEnd(const std::string& app_id, const ProcessEnd& end);

// Returns the last end that a launcher has stored; empty when there is none. A launcher that exits
// before the process stores nothing.
std::optional<ProcessEnd> FindLastEnd(const std::string& app_id);

}  // namespace platform

#endif
