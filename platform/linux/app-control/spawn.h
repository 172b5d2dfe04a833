// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_SPAWN_H_
#define PLATFORM_LINUX_APP_CONTROL_SPAWN_H_

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// Starts the application's executable with its listening socket, whose peers see the new process
// from now on as the one that listens. Costs the same however large the calling process is. Returns
// 0 and the process in `*pid`, or the errno value that says why there is none.
int SpawnApplication(const ApplicationRecord& application, const UniqueFd& listening_socket,
                     pid_t* pid);

}  // namespace platform

#endif
