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
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/app-control/launch-queue.h"
#include "platform/linux/app-control/request-delivery.h"
#include "platform/linux/app-control/spawn.h"
#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/ids.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {
namespace {

// How long a running application whose socket is full may take to make room for a request.
constexpr std::chrono::seconds kSendPatience(5);

constexpr std::chrono::milliseconds kLockRetryInterval(20);

// An application ends or changes now and then; one that keeps doing so must not hold the caller up.
constexpr int kMaxAttempts = 20;

[[noreturn]] void Throw(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::string LaunchLock(const std::string& app_id) {
  return FolderBelowRoot(kApplicationLockFolder) + "/" + app_id;
}

// Whether this is still where the application is. An update may have come since it was looked up.
bool IsCurrent(const ApplicationRecord& application) {
  const auto found = FindApplication(application.id);
  return found && found->executable == application.executable;
}

// Makes the application's listening socket, puts the request into it and starts the process. The
// request is there before the process is, so that even one that ends at once cannot refuse it.
// False when the application is somewhere else by now.
bool StartWith(const ApplicationRecord& application, const std::string& folder,
               const std::vector<uint8_t>& request) {
  const std::string path = folder + "/" + application.id;
  unlink(path.c_str());
  const UniqueFd socket = ListenAt(folder, application.id);
  if (!socket) Throw("cannot listen at " + path);
  const UniqueFd connection = ConnectTo(folder, application.id);
  if (!connection) Throw("cannot reach " + application.id);
  if (PeerOf(connection.Get()).pid != getpid()) {
    throw LaunchFailed("another process has replaced " + path);
  }
  if (!SendMessage(connection.Get(), request, kSendPatience)) {
    Throw("cannot send a request to " + application.id);
  }
  pid_t pid = -1;
  const int reason = SpawnApplication(application, socket, &pid);
  // The update has ended the processes that it saw, and may not have seen this one.
  if (!IsCurrent(application)) {
    if (reason == 0) kill(pid, SIGKILL);
    unlink(path.c_str());
    return false;
  }
  if (reason != 0) {
    unlink(path.c_str());
    throw LaunchFailed("cannot start " + application.executable + ": " +
                       std::generic_category().message(reason));
  }
  return true;
}

// Whether the application's process listens at the other end.
bool IsListener(const ApplicationRecord& application, const UniqueFd& connection) {
  const PeerCredentials peer = PeerOf(connection.Get());
  if (peer.uid == geteuid() && ProcessHandle(peer.pid).Executes(application.executable))
    return true;
  dlog_print(DLOG_WARN, kLaunchLogTag, "process %d listens for %s and is not that application",
             peer.pid, application.id.c_str());
  return false;
}

ApplicationRecord Current(const std::string& app_id) {
  const auto found = FindApplication(app_id);
  if (!found) throw LaunchFailed(app_id + " has been uninstalled");
  return *found;
}

enum class Attempt { kFirst, kLast };

void LaunchAnew(const std::string& app_id, const std::vector<uint8_t>& request);

// An application that lives and refuses requests gets each twice, and not for ever.
bool SendToRunning(const std::string& app_id, const std::vector<uint8_t>& request,
                   UniqueFd connection, Attempt attempt) {
  if (attempt == Attempt::kLast) return SendMessage(connection.Get(), request, kSendPatience);
  return Delivery::Start(app_id, request, std::move(connection), kSendPatience, LaunchAnew);
}

enum class Outcome { kLaunched, kOutdated, kLocked };

// Outdated: the application has to be looked up anew.
Outcome TryToLaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request,
                        Attempt attempt) {
  const std::string folder = FolderBelowRoot(kApplicationSocketFolder);
  const std::string lock_file = LaunchLock(application.id);
  UniqueFd lock = LockFile(lock_file);
  if (!lock && errno != EWOULDBLOCK) Throw(lock_file);
  UniqueFd connection = ConnectTo(folder, application.id);
  if (!connection && errno != ENOENT && errno != ECONNREFUSED)
    Throw("cannot reach " + application.id);
  if (!connection || !IsListener(application, connection)) {
    if (!lock) return Outcome::kLocked;
    return StartWith(application, folder, request) ? Outcome::kLaunched : Outcome::kOutdated;
  }
  lock.Reset();
  if (SendToRunning(application.id, request, std::move(connection), attempt))
    return Outcome::kLaunched;
  // The process ended between the two steps and makes room for a new one.
  if (errno != EPIPE && errno != ECONNRESET) Throw("cannot send a request to " + application.id);
  return Outcome::kOutdated;
}

// False when another process has locked the launch.
bool Launch(ApplicationRecord application, const std::vector<uint8_t>& request, Attempt attempt) {
  for (int i = 0; i < kMaxAttempts; ++i) {
    const Outcome outcome = TryToLaunchWith(application, request, attempt);
    if (outcome != Outcome::kOutdated) return outcome == Outcome::kLaunched;
    application = Current(application.id);
  }
  throw LaunchFailed(application.id + " closes every connection");
}

bool LaunchCurrent(const std::string& app_id, const std::vector<uint8_t>& request) {
  return Launch(Current(app_id), request, Attempt::kFirst);
}

// For a request that a process which ran already has not taken.
void LaunchAnew(const std::string& app_id, const std::vector<uint8_t>& request) {
  dlog_print(DLOG_INFO, kLaunchLogTag, "%s ended with a launch request: once more", app_id.c_str());
  try {
    if (!Launch(Current(app_id), request, Attempt::kLast))
      LaunchQueue::Add(app_id, request, LaunchCurrent);
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLaunchLogTag, "a launch request to %s is lost: %s", app_id.c_str(),
               error.what());
  }
}

}  // namespace

void LaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request) {
  if (!IsApplicationId(application.id))
    throw LaunchFailed("\"" + application.id + "\" is not an application id");
  if (eina_main_loop_is()) {
    if (LaunchQueue::IsWaiting(application.id) || !Launch(application, request, Attempt::kFirst))
      LaunchQueue::Add(application.id, request, LaunchCurrent);
    return;
  }
  const auto deadline = std::chrono::steady_clock::now() + kLaunchLockTimeout;
  while (!Launch(application, request, Attempt::kFirst)) {
    if (std::chrono::steady_clock::now() >= deadline)
      throw LaunchFailed(LaunchLockError(application.id));
    // Polls, since the kernel reports the release of a lock only to a call that waits without
    // limit. Not by AwaitLock(): an application that runs by now is reached although the lock is
    // still held.
    std::this_thread::sleep_for(kLockRetryInterval);
  }
}

std::string LaunchLockError(const std::string& app_id) {
  const std::string file = LaunchLock(app_id);
  return file + " is locked by " + DescribeLockHolder(file);
}

}  // namespace platform
