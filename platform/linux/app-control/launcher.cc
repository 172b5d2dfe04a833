// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/launcher.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
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

// Makes the application's listening socket, puts the request into it and starts the process. The
// request is there before the process is, so that even one that ends at once cannot refuse it.
void StartWith(const ApplicationRecord& application, const std::string& folder,
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
  if (const int reason = SpawnApplication(application, socket); reason != 0) {
    unlink(path.c_str());
    throw LaunchFailed("cannot start " + application.executable + ": " +
                       std::generic_category().message(reason));
  }
}

// A connection to the application; none when it did not run and was started with the request.
UniqueFd ConnectOrStartWith(const ApplicationRecord& application,
                            const std::vector<uint8_t>& request) {
  const std::string folder = FolderBelowRoot(kApplicationSocketFolder);
  const UniqueFd lock = LockLaunchOf(application.id);
  UniqueFd connection = ConnectTo(folder, application.id);
  if (connection) return connection;
  if (errno != ENOENT && errno != ECONNREFUSED) Throw("cannot reach " + application.id);
  StartWith(application, folder, request);
  return {};
}

}  // namespace

void LaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request) {
  for (;;) {
    const UniqueFd connection = ConnectOrStartWith(application, request);
    if (!connection || SendMessage(connection.Get(), request, kSendPatience)) return;
    // The process ended between the two steps and makes room for a new one.
    if (errno != EPIPE && errno != ECONNRESET) Throw("cannot send a request to " + application.id);
  }
}

}  // namespace platform
