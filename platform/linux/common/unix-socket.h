// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_UNIX_SOCKET_H_
#define PLATFORM_LINUX_COMMON_UNIX_SOCKET_H_

#include <sys/types.h>

#include <string>

namespace platform {

// An owned file descriptor.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept;
  ~UniqueFd() { Reset(); }

  int Get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int Release();
  void Reset(int fd = -1);

 private:
  int fd_ = -1;
};

// Unix stream sockets, addressed by folder and name: a socket address has only 108 bytes, too few
// for many folders' paths. All sockets are close-on-exec and non-blocking. A folder that is a
// symbolic link is rejected (ENOTDIR). Functions return an empty descriptor with errno set on
// failure.

// Binds `name` in `folder` and listens. EADDRINUSE when the name exists.
UniqueFd ListenAt(const std::string& folder, const std::string& name);

// Enables SO_PASSCRED on connections accepted later: the kernel adds the credentials of the sending
// process to received bytes (SCM_CREDENTIALS). False with errno set on failure.
bool EnableSenderCredentials(const UniqueFd& listening_socket);

// Connects to `name` in `folder`. ENOENT or ECONNREFUSED without a listener.
UniqueFd ConnectTo(const std::string& folder, const std::string& name);

// The process at the other end when it connected, from the kernel. -1 on failure.
struct PeerCredentials {
  pid_t pid = -1;
  uid_t uid = static_cast<uid_t>(-1);
};
PeerCredentials PeerOf(int socket_fd);

}  // namespace platform

#endif
