// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/launcher.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/app-control/spawn.h"
#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {
namespace {

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

// False when the application has to be looked up anew.
bool TryToLaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request) {
  const std::string folder = FolderBelowRoot(kApplicationSocketFolder);
  UniqueFd lock = LockLaunchOf(application.id);
  const UniqueFd connection = ConnectTo(folder, application.id);
  if (!connection) {
    if (errno != ENOENT && errno != ECONNREFUSED) Throw("cannot reach " + application.id);
    return StartWith(application, folder, request);
  }
  lock.Reset();
  if (SendMessage(connection.Get(), request, kSendPatience)) return true;
  // The process ended between the two steps and makes room for a new one.
  if (errno != EPIPE && errno != ECONNRESET) Throw("cannot send a request to " + application.id);
  return false;
}

}  // namespace

void LaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request) {
  std::optional<ApplicationRecord> current = application;
  while (!TryToLaunchWith(*current, request)) {
    current = FindApplication(application.id);
    if (!current) throw LaunchFailed(application.id + " has been uninstalled");
  }
}

}  // namespace platform
