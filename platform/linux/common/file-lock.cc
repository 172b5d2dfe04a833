// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/file-lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace platform {
namespace {

// Whether the open file is still the one of that path.
bool IsAt(const std::string& path, int fd) {
  struct stat held {};
  struct stat present {};
  return fstat(fd, &held) == 0 && stat(path.c_str(), &present) == 0 &&
         held.st_dev == present.st_dev && held.st_ino == present.st_ino;
}

}  // namespace

UniqueFd LockFile(const std::string& path, Wait wait) {
  for (;;) {
    UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file) return file;
    while (flock(file.Get(), wait == Wait::kYes ? LOCK_EX : LOCK_EX | LOCK_NB) != 0) {
      if (errno == EINTR) continue;
      const int cause = errno;
      file.Reset();
      errno = cause;
      return file;
    }
    // Removed by the one that held it before: the lock on it would keep nobody out.
    if (IsAt(path, file.Get())) return file;
  }
}

}  // namespace platform
