// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_SPAWN_H_
#define PLATFORM_LINUX_APP_CONTROL_SPAWN_H_

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// A process that executes an application.
struct SpawnedProcess {
  pid_t pid = -1;
  UniqueFd descriptor;  // refers to the process; empty when out of descriptors
};

// Starts the application's executable, which inherits the listening socket. Its standard output and
// error are `output`, which receives the process id first, or /dev/null when `output` is empty.
// From then on the kernel reports the new process to peers that connect. The cost does not depend
// on the size of the calling process. Returns 0 and sets `*process`, or returns an errno value.
int SpawnApplication(const ApplicationRecord& application, const UniqueFd& listening_socket,
                     const UniqueFd& output, SpawnedProcess* process);

}  // namespace platform

#endif
