// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/file-lock.h"

#include <dlog.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <thread>

#include "platform/linux/common/process-list.h"

namespace platform {
namespace {

constexpr char kLogTag[] = "PLATFORM";
constexpr std::chrono::milliseconds kRetryInterval(20);
constexpr std::chrono::seconds kSilentWait(1);

// Whether the open file is still the one of that path.
bool IsAt(const std::string& path, int fd) {
  struct stat held {};
  struct stat present {};
  return fstat(fd, &held) == 0 && stat(path.c_str(), &present) == 0 &&
         held.st_dev == present.st_dev && held.st_ino == present.st_ino;
}

// The holder that a line of /proc/locks names, when it is about that file; else 0.
pid_t HolderIn(const std::string& line, const struct stat& file) {
  pid_t pid = 0;
  unsigned major_number = 0;
  unsigned minor_number = 0;
  unsigned long long inode = 0;
  // NUMBER: KIND ADVISORY ACCESS PID MAJOR:MINOR:INODE START END. A line of one that waits has an
  // arrow in front of the kind.
  const int found = std::sscanf(line.c_str(), "%*d: FLOCK %*s %*s %d %x:%x:%llu", &pid,
                                &major_number, &minor_number, &inode);
  const bool is_same = found == 4 && major_number == major(file.st_dev) &&
                       minor_number == minor(file.st_dev) && inode == file.st_ino;
  return is_same ? pid : 0;
}

}  // namespace

UniqueFd LockFile(const std::string& path) {
  for (;;) {
    UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file) return file;
    if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
      const int cause = errno;
      file.Reset();
      errno = cause;
      return file;
    }
    // Removed by the one that held it before: the lock on it would keep nobody out.
    if (IsAt(path, file.Get())) return file;
  }
}

UniqueFd AwaitLock(const std::string& path, std::chrono::milliseconds limit) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  bool is_logged = false;
  for (;;) {
    UniqueFd file = LockFile(path);
    const auto waited = Clock::now() - start;
    if (file || errno != EWOULDBLOCK || waited >= limit) return file;
    if (!is_logged && waited > kSilentWait) {
      dlog_print(DLOG_WARN, kLogTag, "%s is locked by %s, waiting for up to %lld seconds",
                 path.c_str(), DescribeLockHolder(path).c_str(),
                 static_cast<long long>(std::chrono::ceil<std::chrono::seconds>(limit).count()));
      is_logged = true;
    }
    // Polls, since the kernel reports the release of a lock only to a call that waits without
    // limit.
    std::this_thread::sleep_for(kRetryInterval);
  }
}

std::string DescribeLockHolder(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) {
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
      const pid_t pid = HolderIn(line, status);
      if (pid <= 0) continue;
      const Executable program = ExecutableOf(pid);
      return "process " + std::to_string(pid) +
             (program.path.empty() ? "" : " (" + program.path + ")");
    }
  }
  return "another process";
}

}  // namespace platform
