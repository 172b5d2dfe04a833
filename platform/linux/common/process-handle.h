// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_PROCESS_HANDLE_H_
#define PLATFORM_LINUX_COMMON_PROCESS_HANDLE_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/common/unix-socket.h"

namespace platform {

// The identity of a file, independent of its names.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;
};
inline bool operator==(const FileId& a, const FileId& b) {
  return a.device == b.device && a.inode == b.inode;
}

// Follows symbolic links. Empty with errno set when the file cannot be reached.
std::optional<FileId> FileAt(const std::string& path);

// The file a process was started from.
struct Executable {
  // As the process's mount namespace names it: in one of its own, a process can give any file any
  // path. Empty when the process has exited or may not be inspected.
  std::string path;
  bool is_deleted = false;
};

// One process. A process id is reused after its process has exited; a handle never refers to the
// new process.
class ProcessHandle {
 public:
  explicit ProcessHandle(pid_t pid);

  pid_t pid() const { return pid_; }
  // Whether this is the path of the executed file, in the process's mount namespace and in ours.
  bool Executes(const std::string& path) const;
  Executable ExecutablePath() const;
  // The executed file itself, which no process can misrepresent. Empty when the process has exited
  // or may not be inspected.
  std::optional<FileId> ExecutableFile() const;
  // Whether it holds a lock on the file. Looks at a limited number of its descriptors.
  bool HoldsLockOn(const std::string& path) const;
  // Whether the process has the caller's process-id namespace.
  bool HasOurPidNamespace() const;

 private:
  pid_t pid_;
  UniqueFd folder_;  // below /proc
};

}  // namespace platform

#endif
