// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_PROCESS_HANDLE_H_
#define PLATFORM_LINUX_COMMON_PROCESS_HANDLE_H_

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

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

// Returns the file at a path, following symbolic links. Empty with errno set on failure.
std::optional<FileId> FileAt(const std::string& path);

// The file that a process executes.
struct Executable {
  // The path in the process's mount namespace, which an untrusted process can choose freely. Empty
  // when the process has exited or may not be inspected.
  std::string path;
  bool is_deleted = false;
};

// A process. Process ids are reused after a process has exited; a handle never refers to the new
// process, because it holds the /proc folder of the old one.
class ProcessHandle {
 public:
  explicit ProcessHandle(pid_t pid);

  pid_t pid() const { return pid_; }
  // Whether the path names the executed file both in the process's mount namespace and in ours.
  bool Executes(const std::string& path) const;
  Executable ExecutablePath() const;
  // The identity of the executed file, which a process cannot forge. Empty when the process has
  // exited or may not be inspected.
  std::optional<FileId> ExecutableFile() const;
  // Whether the process holds a lock on the file. Inspects at most 4096 of its descriptors.
  bool HoldsLockOn(const std::string& path) const;
  // Whether the process has the caller's process-id namespace.
  bool HasOurPidNamespace() const;

 private:
  pid_t pid_;
  UniqueFd folder_;  // /proc/<pid>
};

// The process may have exited since, and the process id been reused.
Executable ExecutableOf(pid_t pid);

// Returns the processes whose executable meets a condition.
std::vector<pid_t> FindProcesses(const std::function<bool(const Executable&)>& condition);

// Returns a variable of the environment that a process was started with; later changes by the
// process are not visible. Empty when there was no such variable, the process has exited or may not
// be inspected.
std::optional<std::string> ReadStartVariable(pid_t pid, const std::string& name);

}  // namespace platform

#endif
