// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/process-watch.h"

#include <dlog.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "platform/linux/app-control/launcher.h"
#include "platform/linux/app-control/loader-error.h"
#include "platform/linux/app-control/process-observers.h"
#include "platform/linux/common/c-boundary.h"
#include "platform/linux/common/connected-processes.h"

namespace platform {
namespace {

using std::chrono::milliseconds;

// How long to wait for Ecore's event about a process that has been reaped. It is in the queue
// already, unless the program has reaped the process itself.
constexpr milliseconds kReapedTimeout(50);

// How long to wait for the last lines of a process. Longer when another process inherited its
// output.
constexpr milliseconds kLogTimeout(100);

bool MayLackLibrary(const ProcessEnd& end) {
  return end.kind == ProcessEnd::Kind::kExited && end.number == kLoaderExitStatus;
}

bool IsSuccess(const ProcessEnd& end) {
  return end.kind == ProcessEnd::Kind::kExited && end.number == 0;
}

}  // namespace

ProcessWatch::ProcessWatch(const std::string& app_id, SpawnedProcess process, pid_t log_writer)
    : app_id_(app_id),
      process_(std::move(process)),
      log_writer_(log_writer),
      process_watch_(process_.descriptor.Get(), this) {
  end_.pid = process_.pid;
}

ProcessWatch::~ProcessWatch() {
  if (reaped_ != nullptr) ecore_event_handler_del(reaped_);
}

std::list<ProcessWatch>& ProcessWatch::Watches() {
  // Never destroyed: destructors of static objects may launch applications.
  static auto* const watches = new std::list<ProcessWatch>;
  return *watches;
}

void ProcessWatch::Start(const std::string& app_id, SpawnedProcess process, pid_t log_writer) {
  if (!process.descriptor) return;
  std::list<ProcessWatch> added;
  ProcessWatch& watch = added.emplace_back(app_id, std::move(process), log_writer);
  watch.process_watch_.WatchReading(true);
  watch.reaped_ = ecore_event_handler_add(ECORE_EXE_EVENT_DEL, &OnReaped, &watch);
  if (watch.reaped_ == nullptr) throw std::bad_alloc();
  AwaitConnectionOf(watch.process_.pid);
  Watches().splice(Watches().end(), added);
}

void ProcessWatch::ReportNotStarted(const std::string& app_id, const std::string& cause) {
  std::list<ProcessWatch> added;
  ProcessWatch& watch = added.emplace_back(app_id, SpawnedProcess{0, UniqueFd()}, -1);
  watch.end_.kind = ProcessEnd::Kind::kNotStarted;
  watch.end_.cause = cause;
  watch.has_ended_ = true;
  watch.timer_.Start(milliseconds(0), [&watch] { watch.Report(); });
  Watches().splice(Watches().end(), added);
}

void ProcessWatch::OnReady(bool, bool) {
  if (has_ended_) {  // the log is complete
    Report();
    return;
  }
  siginfo_t info{};
  const auto descriptor = static_cast<id_t>(process_.descriptor.Get());
  if (waitid(P_PIDFD, descriptor, &info, WEXITED | WNOHANG | WNOWAIT) == 0) {
    if (info.si_pid != 0) SetEnd(info);
    return;
  }
  process_watch_.Remove();
  timer_.Start(kReapedTimeout, [this] { Report(); });
}

Eina_Bool ProcessWatch::OnReaped(void* data, int, void* event) {
  auto* self = static_cast<ProcessWatch*>(data);
  const auto* reaped = static_cast<Ecore_Exe_Event_Del*>(event);
  if (reaped->pid != self->process_.pid || self->has_ended_) return ECORE_CALLBACK_PASS_ON;
  siginfo_t info{};
  info.si_code = reaped->signalled ? CLD_KILLED : CLD_EXITED;
  info.si_status = reaped->signalled ? reaped->exit_signal : reaped->exit_code;
  // The signal's information may be that of another child.
  if (reaped->signalled && reaped->data.si_pid == reaped->pid) info.si_code = reaped->data.si_code;
  kMainLoopBoundary.Run([&] {
    self->SetEnd(info);
    return TIZEN_ERROR_NONE;
  });
  return ECORE_CALLBACK_PASS_ON;
}

void ProcessWatch::SetEnd(const siginfo_t& info) {
  process_watch_.Remove();
  has_ended_ = true;
  end_.time = std::chrono::system_clock::now();
  end_.kind = info.si_code == CLD_EXITED ? ProcessEnd::Kind::kExited : ProcessEnd::Kind::kKilled;
  end_.number = info.si_status;
  end_.dumped_core = info.si_code == CLD_DUMPED;
  if (MayLackLibrary(end_)) {
    AwaitLog();
  } else {
    Report();
  }
}

void ProcessWatch::AwaitLog() {
  // The process id may have been reused, when the wait ends with the timeout.
  if (log_writer_ > 0)
    log_writer_descriptor_.Reset(static_cast<int>(syscall(SYS_pidfd_open, log_writer_, 0)));
  if (!log_writer_descriptor_) {
    Report();
    return;
  }
  LoopObserver* const observer = this;
  log_writer_watch_.emplace(log_writer_descriptor_.Get(), observer);
  log_writer_watch_->WatchReading(true);
  timer_.Start(kLogTimeout, [this] { Report(); });
}

void ProcessWatch::Report() {
  // Leaves the list first: observers may launch applications.
  std::list<ProcessWatch> self;
  self.splice(self.end(), Watches(),
              std::find_if(Watches().begin(), Watches().end(),
                           [this](const ProcessWatch& other) { return &other == this; }));
  end_.has_connected = TakeConnected(end_.pid);
  if (MayLackLibrary(end_)) end_.cause = FindLoaderError(app_id_, end_.pid);
  StoreLastEnd(app_id_, end_);
  // What could not be started has been logged by the launch.
  if (!IsSuccess(end_) && end_.kind != ProcessEnd::Kind::kNotStarted) {
    dlog_print(DLOG_WARN, kLaunchLogTag, "%s (process %d) %s", app_id_.c_str(), end_.pid,
               Describe(end_).c_str());
  }
  NotifyProcessObservers(app_id_, end_);
}

}  // namespace platform
