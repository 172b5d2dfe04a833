// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/application/launch-socket.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <charconv>
#include <cstdlib>
#include <cstring>

#include "platform/linux/app-control/launch-protocol.h"

namespace platform {
namespace {

bool IsListeningUnixSocket(int fd) {
  int domain = 0;
  int listening = 0;
  socklen_t size = sizeof domain;
  if (getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0 || domain != AF_UNIX) return false;
  size = sizeof listening;
  return getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) == 0 && listening != 0;
}

}  // namespace

UniqueFd TakeLaunchSocket() {
  const char* const text = std::getenv(kLaunchSocketVariable);
  if (text == nullptr) return UniqueFd();
  int fd = -1;
  const auto parsed = std::from_chars(text, text + std::strlen(text), fd);
  const bool is_number = parsed.ec == std::errc() && *parsed.ptr == '\0';
  unsetenv(kLaunchSocketVariable);
  if (!is_number || !IsListeningUnixSocket(fd)) return UniqueFd();
  fcntl(fd, F_SETFD, FD_CLOEXEC);
  // For those who connect, in case the process that was launched has left this one its work.
  listen(fd, SOMAXCONN);
  return UniqueFd(fd);
}

}  // namespace platform
