// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/launcher.h"

#include <Ecore.h>
#include <dlog.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <exception>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/app-control/launch-queue.h"
#include "platform/linux/app-control/log-pipe.h"
#include "platform/linux/app-control/process-watch.h"
#include "platform/linux/app-control/request-delivery.h"
#include "platform/linux/app-control/spawn.h"
#include "platform/linux/common/application-log.h"
#include "platform/linux/common/c-boundary.h"
#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/ids.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {
namespace {

// How long to wait for a running application whose socket's buffer is full.
constexpr std::chrono::seconds kSendTimeout(5);

// Short beside the time that an application takes to start.
constexpr std::chrono::milliseconds kLockRetryInterval(20);

// An attempt fails when the application exits or is updated during the launch. Limits how long an
// application that does so all the time can block the caller.
constexpr int kMaxAttempts = 20;

[[noreturn]] void Throw(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::string LaunchLock(const std::string& app_id) {
  return FolderBelowRoot(kApplicationLockFolder) + "/" + app_id;
}

// Whether the record is up to date. The package may have been updated since it was looked up.
bool IsCurrent(const ApplicationRecord& application) {
  const auto found = FindApplication(application.id);
  return found && found->executable == application.executable;
}

// Throws LaunchError, which is also reported as the application's last end.
[[noreturn]] void ThrowNotStarted(const ApplicationRecord& application, const std::string& reason) {
  const std::string text = "cannot start " + application.executable + ": " + reason;
  CreateLog(application.id);
  if (eina_main_loop_is()) ProcessWatch::ReportNotStarted(application.id, text);
  throw LaunchError(text);
}

bool IsScript(const std::string& path) {
  char mark[2] = {};
  std::ifstream(path, std::ios::binary).read(mark, sizeof mark);
  return mark[0] == '#' && mark[1] == '!';
}

std::string DescribeExecutionError(const std::string& executable, int reason) {
  const std::string text = std::generic_category().message(reason);
  if (reason == ENOEXEC) return text + " (not a program for this machine)";
  if (reason == ENOENT && FileAt(executable))
    return text + " (the file exists; its dynamic loader does not)";
  return text;
}

void WatchProcess(const std::string& app_id, SpawnedProcess process, const LogPipe& log) {
  if (!eina_main_loop_is()) return;
  // The application has been launched, whether its end is reported or not.
  kMainLoopBoundary.Run([&] {
    ProcessWatch::Start(app_id, std::move(process), log.writer);
    return TIZEN_ERROR_NONE;
  });
}

// Creates the application's listening socket, sends the request to it and starts the process. The
// request is sent first, so that a process that exits at once cannot make sending it fail. Returns
// false if the record turns out to be outdated.
bool StartProcess(const ApplicationRecord& application, const std::string& folder,
                  const std::vector<uint8_t>& request) {
  if (IsScript(application.executable)) {
    ThrowNotStarted(application,
                    "it is a script, which cannot be identified by its executable; "
                    "build a program");
  }
  const std::string path = folder + "/" + application.id;
  unlink(path.c_str());
  const UniqueFd socket = ListenAt(folder, application.id);
  if (!socket) Throw("cannot listen at " + path);
  const UniqueFd connection = ConnectTo(folder, application.id);
  if (!connection) Throw("cannot reach " + application.id);
  // Another process may have replaced the socket since. The request is for the application only.
  if (PeerOf(connection.Get()).pid != getpid()) {
    throw LaunchError("another process has replaced " + path);
  }
  if (!SendMessage(connection.Get(), request, kSendTimeout)) {
    Throw("cannot send a request to " + application.id);
  }
  const LogPipe log = OpenLogPipe(application.id);
  SpawnedProcess process;
  const int reason = SpawnApplication(application, socket, log.input, &process);
  // An update terminates the processes of the old version, but may have missed this one.
  if (!IsCurrent(application)) {
    if (reason == 0) kill(process.pid, SIGKILL);
    unlink(path.c_str());
    return false;
  }
  if (reason != 0) {
    unlink(path.c_str());
    ThrowNotStarted(application, DescribeExecutionError(application.executable, reason));
  }
  WatchProcess(application.id, std::move(process), log);
  return true;
}

// Whether the peer of the connection executes the application.
bool IsApplicationListening(const ApplicationRecord& application, const UniqueFd& connection) {
  const PeerCredentials peer = PeerOf(connection.Get());
  if (peer.uid == geteuid() && ProcessHandle(peer.pid).Executes(application.executable))
    return true;
  dlog_print(DLOG_WARN, kLaunchLogTag, "process %d listens for %s but does not execute it",
             peer.pid, application.id.c_str());
  return false;
}

ApplicationRecord FindCurrent(const std::string& app_id) {
  const auto found = FindApplication(app_id);
  if (!found) throw LaunchError(app_id + " has been uninstalled");
  return *found;
}

enum class Attempt { kFirst, kRetry };

void Relaunch(const std::string& app_id, const std::vector<uint8_t>& request);

// Loss of a retry is not detected, so that an application that closes connections without reading
// them receives each request twice and not endlessly.
bool SendToRunning(const std::string& app_id, const std::vector<uint8_t>& request,
                   UniqueFd connection, Attempt attempt) {
  if (attempt == Attempt::kRetry) return SendMessage(connection.Get(), request, kSendTimeout);
  return RequestDelivery::Send(app_id, request, std::move(connection), kSendTimeout, Relaunch);
}

enum class Outcome { kLaunched, kOutdated, kLocked };

// kOutdated: the application must be looked up again, and the launch repeated.
Outcome TryLaunch(const ApplicationRecord& application, const std::vector<uint8_t>& request,
                  Attempt attempt) {
  const std::string folder = FolderBelowRoot(kApplicationSocketFolder);
  const std::string lock_file = LaunchLock(application.id);
  UniqueFd lock = LockFile(lock_file);
  if (!lock && errno != EWOULDBLOCK) Throw(lock_file);
  UniqueFd connection = ConnectTo(folder, application.id);
  if (!connection && errno != ENOENT && errno != ECONNREFUSED)
    Throw("cannot reach " + application.id);
  if (!connection || !IsApplicationListening(application, connection)) {
    if (!lock) return Outcome::kLocked;
    return StartProcess(application, folder, request) ? Outcome::kLaunched : Outcome::kOutdated;
  }
  // Sending may take up to the timeout. Other launchers need not wait for it.
  lock.Reset();
  if (SendToRunning(application.id, request, std::move(connection), attempt))
    return Outcome::kLaunched;
  // The process has exited since the connection was made, so the next attempt starts a new one.
  if (errno != EPIPE && errno != ECONNRESET) Throw("cannot send a request to " + application.id);
  return Outcome::kOutdated;
}

// Returns false while another process holds the launch lock.
bool Launch(ApplicationRecord application, const std::vector<uint8_t>& request, Attempt attempt) {
  for (int i = 0; i < kMaxAttempts; ++i) {
    const Outcome outcome = TryLaunch(application, request, attempt);
    if (outcome != Outcome::kOutdated) return outcome == Outcome::kLaunched;
    application = FindCurrent(application.id);
  }
  throw LaunchError(application.id + " closes every connection without reading requests");
}

bool LaunchCurrent(const std::string& app_id, const std::vector<uint8_t>& request) {
  return Launch(FindCurrent(app_id), request, Attempt::kFirst);
}

// Launches again with a request that a running process has not acknowledged.
void Relaunch(const std::string& app_id, const std::vector<uint8_t>& request) {
  dlog_print(DLOG_INFO, kLaunchLogTag, "%s exited before it read a launch request, retrying",
             app_id.c_str());
  try {
    if (!Launch(FindCurrent(app_id), request, Attempt::kRetry))
      LaunchQueue::Add(app_id, request, LaunchCurrent);
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLaunchLogTag, "lost a launch request to %s: %s", app_id.c_str(),
               error.what());
  }
}

}  // namespace

void LaunchApplication(const ApplicationRecord& application, const std::vector<uint8_t>& request) {
  if (!IsApplicationId(application.id))
    throw LaunchError("\"" + application.id + "\" is not an application id");
  if (eina_main_loop_is()) {
    if (LaunchQueue::IsWaiting(application.id) || !Launch(application, request, Attempt::kFirst))
      LaunchQueue::Add(application.id, request, LaunchCurrent);
    return;
  }
  const auto deadline = std::chrono::steady_clock::now() + kLaunchLockTimeout;
  while (!Launch(application, request, Attempt::kFirst)) {
    if (std::chrono::steady_clock::now() >= deadline)
      throw LaunchError(DescribeLaunchLock(application.id));
    // Polls because flock() has no timeout. Not by AwaitLock(): an application that has started in
    // the meantime is reached although the lock is held.
    std::this_thread::sleep_for(kLockRetryInterval);
  }
}

std::string DescribeLaunchLock(const std::string& app_id) {
  const std::string file = LaunchLock(app_id);
  return file + " is locked by " + DescribeLockHolder(file);
}

}  // namespace platform
