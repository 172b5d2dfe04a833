// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/file-lock.h"

#include <dlog.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "platform/linux/common/process-handle.h"

namespace platform {
namespace {

constexpr char kLogTag[] = "PLATFORM";
constexpr std::chrono::milliseconds kRetryInterval(20);
// Waits below this are normal and not logged.
constexpr std::chrono::seconds kSilentWait(1);

// Whether the path still names the open file.
bool IsAt(const std::string& path, int fd) {
  struct stat held {};
  struct stat present {};
  return fstat(fd, &held) == 0 && stat(path.c_str(), &present) == 0 &&
         held.st_dev == present.st_dev && held.st_ino == present.st_ino;
}

// Returns the name of a file in /proc/locks.
std::string NameInLocks(const struct stat& file) {
  char name[64];
  std::snprintf(name, sizeof name, "%02x:%02x:%ju", major(file.st_dev), minor(file.st_dev),
                static_cast<std::uintmax_t>(file.st_ino));
  return name;
}

// Returns the holder from a line of /proc/locks, or 0 for the line of another file.
pid_t HolderIn(const std::string& line, const struct stat& file) {
  // NUMBER: KIND ADVISORY ACCESS PID MAJOR:MINOR:INODE START END. The line of a waiting process has
  // an arrow in front of the kind, and so does not match.
  std::istringstream fields(line);
  std::string number, kind, advisory, access, locked;
  pid_t pid = 0;
  fields >> number >> kind >> advisory >> access >> pid >> locked;
  return fields && kind == "FLOCK" && locked == NameInLocks(file) ? pid : 0;
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
    // The previous holder may have removed the file after it was opened here. A lock on a removed
    // file excludes no other process.
    if (IsAt(path, file.Get())) return file;
  }
}

UniqueFd AwaitLock(const std::string& path, std::chrono::milliseconds timeout) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  bool is_logged = false;
  for (;;) {
    UniqueFd file = LockFile(path);
    const auto waited = Clock::now() - start;
    if (file || errno != EWOULDBLOCK || waited >= timeout) return file;
    if (!is_logged && waited > kSilentWait) {
      dlog_print(DLOG_WARN, kLogTag, "%s is locked by %s, waiting for up to %lld seconds",
                 path.c_str(), DescribeLockHolder(path).c_str(),
                 static_cast<long long>(std::chrono::ceil<std::chrono::seconds>(timeout).count()));
      is_logged = true;
    }
    // Polls, because flock() has no timeout.
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
