// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/unix-socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace platform {
namespace {

// Makes a socket address that names the folder by its open descriptor and so stays short. The
// descriptor must outlive the address.
bool MakeAddress(int folder_fd, const std::string& name, sockaddr_un* address) {
  const std::string path = "/proc/self/fd/" + std::to_string(folder_fd) + "/" + name;
  if (path.size() >= sizeof(address->sun_path)) {
    errno = ENAMETOOLONG;
    return false;
  }
  *address = {};
  address->sun_family = AF_UNIX;
  std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
  return true;
}

// Closes both descriptors and keeps errno.
UniqueFd Fail(UniqueFd folder, UniqueFd socket_fd) {
  const int cause = errno;
  folder.Reset();
  socket_fd.Reset();
  errno = cause;
  return UniqueFd();
}

UniqueFd OpenSocket(const std::string& folder, const std::string& name, bool listening) {
  UniqueFd folder_fd(open(folder.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder_fd) return UniqueFd();
  sockaddr_un address;
  if (!MakeAddress(folder_fd.Get(), name, &address)) return Fail(std::move(folder_fd), UniqueFd());
  UniqueFd socket_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_fd) return Fail(std::move(folder_fd), UniqueFd());
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  const bool done = listening ? bind(socket_fd.Get(), generic, sizeof(address)) == 0 &&
                                    listen(socket_fd.Get(), SOMAXCONN) == 0
                              : connect(socket_fd.Get(), generic, sizeof(address)) == 0;
  if (!done) return Fail(std::move(folder_fd), std::move(socket_fd));
  return socket_fd;
}

}  // namespace

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
  if (this != &other) Reset(other.Release());
  return *this;
}

int UniqueFd::Release() {
  const int fd = fd_;
  fd_ = -1;
  return fd;
}

void UniqueFd::Reset(int fd) {
  if (fd_ >= 0) close(fd_);
  fd_ = fd;
}

UniqueFd ListenAt(const std::string& folder, const std::string& name) {
  return OpenSocket(folder, name, true);
}

UniqueFd ConnectTo(const std::string& folder, const std::string& name) {
  return OpenSocket(folder, name, false);
}

bool EnableSenderCredentials(const UniqueFd& listening_socket) {
  const int on = 1;
  return setsockopt(listening_socket.Get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) == 0;
}

PeerCredentials PeerOf(int socket_fd) {
  ucred credentials;
  socklen_t size = sizeof(credentials);
  if (getsockopt(socket_fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return {};
  return {credentials.pid, credentials.uid};
}

}  // namespace platform
