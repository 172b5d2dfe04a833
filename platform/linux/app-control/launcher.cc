// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/launcher.h"

#include <dlog.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "platform/linux/app-control/delivery.h"
#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/app-control/spawn.h"
#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {
namespace {

constexpr char kLogTag[] = "APPCTL";

// How long a running application whose socket is full may take to make room for a request.
constexpr std::chrono::seconds kSendPatience(5);

[[noreturn]] void Throw(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

UniqueFd LockLaunchOf(const std::string& app_id) {
  const std::string path = FolderBelowRoot(kApplicationLockFolder) + "/" + app_id;
  UniqueFd file = LockFile(path, Wait::kYes);
  if (!file) Throw(path);
  return file;
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
  dlog_print(DLOG_WARN, kLogTag, "process %d listens for %s and is not that application", peer.pid,
             application.id.c_str());
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

// False when the application has to be looked up anew.
bool TryToLaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request,
                     Attempt attempt) {
  const std::string folder = FolderBelowRoot(kApplicationSocketFolder);
  UniqueFd lock = LockLaunchOf(application.id);
  UniqueFd connection = ConnectTo(folder, application.id);
  if (!connection && errno != ENOENT && errno != ECONNREFUSED)
    Throw("cannot reach " + application.id);
  if (!connection || !IsListener(application, connection))
    return StartWith(application, folder, request);
  lock.Reset();
  if (SendToRunning(application.id, request, std::move(connection), attempt)) return true;
  // The process ended between the two steps and makes room for a new one.
  if (errno != EPIPE && errno != ECONNRESET) Throw("cannot send a request to " + application.id);
  return false;
}

void Launch(ApplicationRecord application, const std::vector<uint8_t>& request, Attempt attempt) {
  while (!TryToLaunchWith(application, request, attempt)) application = Current(application.id);
}

// For a request that a process which ran already has not taken.
void LaunchAnew(const std::string& app_id, const std::vector<uint8_t>& request) {
  dlog_print(DLOG_INFO, kLogTag, "%s ended with a launch request: once more", app_id.c_str());
  try {
    Launch(Current(app_id), request, Attempt::kLast);
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "a launch request to %s is lost: %s", app_id.c_str(),
               error.what());
  }
}

}  // namespace

void LaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request) {
  Launch(application, request, Attempt::kFirst);
}

}  // namespace platform
