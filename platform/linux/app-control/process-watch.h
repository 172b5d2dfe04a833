// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_PROCESS_WATCH_H_
#define PLATFORM_LINUX_APP_CONTROL_PROCESS_WATCH_H_

#include <Ecore.h>

#include <list>
#include <optional>
#include <string>

#include "platform/linux/app-control/spawn.h"
#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/process-end.h"

namespace platform {

// Waits for the end of a launched process: stores it (process-end.h), logs it unless the exit
// status is 0, and passes it to the observers (launch-observer.h). Main loop's thread only.
//
// The exit status is read without reaping the process (WNOWAIT), which is left to Ecore or to the
// program. Ecore may reap it first; its event then has the status.
class ProcessWatch final : private LoopObserver {
 public:
  // `log_writer` is the process that writes the application's log, -1 for none. Does nothing
  // without a descriptor of the process. Throws std::bad_alloc.
  static void Start(const std::string& app_id, SpawnedProcess process, pid_t log_writer);

  // Reports, from the main loop, that a process could not be started.
  static void ReportNotStarted(const std::string& app_id, const std::string& cause);

  // Called by the functions above only; public for the container.
  ProcessWatch(const std::string& app_id, SpawnedProcess process, pid_t log_writer);
  ~ProcessWatch();

 private:
  static std::list<ProcessWatch>& Watches();
  static Eina_Bool OnReaped(void* data, int type, void* event);
  void OnReady(bool readable, bool writable) override;
  void SetEnd(const siginfo_t& info);
  // Reports the end when the log contains the last lines of the process, or after a timeout.
  void AwaitLog();
  void Report();

  const EcoreReference ecore_;
  const std::string app_id_;
  const SpawnedProcess process_;
  const pid_t log_writer_;
  UniqueFd log_writer_descriptor_;
  ProcessEnd end_;
  bool has_ended_ = false;
  LoopWatch process_watch_;
  std::optional<LoopWatch> log_writer_watch_;
  Ecore_Event_Handler* reaped_ = nullptr;
  LoopTimer timer_;
};

}  // namespace platform

#endif
