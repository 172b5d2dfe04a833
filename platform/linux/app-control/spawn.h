// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_SPAWN_H_
#define PLATFORM_LINUX_APP_CONTROL_SPAWN_H_

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// Starts the application's executable, which inherits the listening socket. From then on the kernel
// reports the new process to peers that connect. The cost does not depend on the size of the
// calling process. Returns 0 and sets `*pid`, or returns an errno value.
int SpawnApplication(const ApplicationRecord& application, const UniqueFd& listening_socket,
                     pid_t* pid);

}  // namespace platform

#endif
