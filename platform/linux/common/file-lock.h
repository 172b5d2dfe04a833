// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_FILE_LOCK_H_
#define PLATFORM_LINUX_COMMON_FILE_LOCK_H_

#include <chrono>
#include <string>

#include "platform/linux/common/unix-socket.h"

namespace platform {

// The exclusive lock on a file, which is made (mode 0600) when it is missing. A symbolic link is
// not followed (ELOOP). Held until the descriptor and its copies are closed, so the kernel drops it
// with the process. The holder may remove the file. Never waits: on failure the result is
// empty and errno says why, EWOULDBLOCK when another holds the lock.
UniqueFd LockFile(const std::string& path);

// The same, trying again while another holds the lock, until the limit has passed. A wait of more
// than a second logs a warning that names the holder. Never for a main loop's thread.
UniqueFd AwaitLock(const std::string& path, std::chrono::milliseconds limit);

// Says who holds the lock on a file: "process 12 (/usr/bin/program)", or "another process" when the
// kernel does not tell.
std::string DescribeLockHolder(const std::string& path);

}  // namespace platform

#endif
