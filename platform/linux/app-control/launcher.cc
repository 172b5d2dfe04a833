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

struct Connection {
  UniqueFd socket;
  bool started_process = false;
};

// A connection to the application, which is started when nobody has its listening socket.
Connection ConnectOrStart(const ApplicationRecord& application) {
  const std::string folder = FolderBelowRoot(kApplicationSocketFolder);
  const UniqueFd lock = LockLaunchOf(application.id);
  UniqueFd connection = ConnectTo(folder, application.id);
  if (connection) return {std::move(connection), false};
  if (errno != ENOENT && errno != ECONNREFUSED) Throw("cannot reach " + application.id);

  unlink((folder + "/" + application.id).c_str());
  const UniqueFd socket = ListenAt(folder, application.id);
  if (!socket) Throw("cannot listen at " + folder + "/" + application.id);
  // Connected before the process exists, so that even one that ends at once cannot refuse.
  connection = ConnectTo(folder, application.id);
  if (!connection) Throw("cannot reach " + application.id);
  if (const int reason = SpawnApplication(application, socket); reason != 0) {
    unlink((folder + "/" + application.id).c_str());
    throw LaunchFailed("cannot start " + application.executable + ": " +
                       std::generic_category().message(reason));
  }
  return {std::move(connection), true};
}

}  // namespace

void LaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request) {
  for (;;) {
    const Connection connection = ConnectOrStart(application);
    if (SendMessage(connection.socket.Get(), request, kSendPatience)) return;
    if (errno != EPIPE && errno != ECONNRESET) Throw("cannot send a request to " + application.id);
    // The process ended between the two steps. One that was there before makes room for a new one.
    if (connection.started_process)
      throw LaunchFailed(application.executable + " ended before it took its request");
  }
}

}  // namespace platform
