// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_FILE_LOCK_H_
#define PLATFORM_LINUX_COMMON_FILE_LOCK_H_

#include <chrono>
#include <string>

#include "platform/linux/common/unix-socket.h"

namespace platform {

// Takes the exclusive lock on a file, which is created (mode 0600) when it is missing. Does not
// follow a symbolic link (ELOOP). The lock is held until the descriptor and its copies are closed,
// so the kernel releases it when the process exits. The holder may remove the file. Never waits.
// Returns an empty descriptor with errno set on failure: EWOULDBLOCK when the lock is held.
UniqueFd LockFile(const std::string& path);

// Like LockFile(), but retries until the timeout while the lock is held. After a second it logs a
// warning that names the holder. Blocks: not for a main loop's thread.
UniqueFd AwaitLock(const std::string& path, std::chrono::milliseconds timeout);

// Describes the holder of the lock on a file: "process 12 (/usr/bin/program)", or "another process"
// when /proc/locks does not list it, as for processes of another PID namespace.
std::string DescribeLockHolder(const std::string& path);

}  // namespace platform

#endif
