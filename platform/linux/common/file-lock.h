// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_FILE_LOCK_H_
#define PLATFORM_LINUX_COMMON_FILE_LOCK_H_

#include <string>

#include "platform/linux/common/unix-socket.h"

namespace platform {

enum class Wait { kNo, kYes };

// The exclusive lock on a file, which is made (mode 0600) when it is missing. A symbolic link is
// not followed (ELOOP). Held until the
// descriptor and its copies are closed, so the kernel drops it with the process. Whoever holds it
// may remove the file. On failure the result is empty and errno says why; EWOULDBLOCK when another
// holds the lock and this one does not wait.
UniqueFd LockFile(const std::string& path, Wait wait);

}  // namespace platform

#endif
