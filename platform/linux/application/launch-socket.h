// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APPLICATION_LAUNCH_SOCKET_H_
#define PLATFORM_LINUX_APPLICATION_LAUNCH_SOCKET_H_

#include "platform/linux/common/unix-socket.h"

namespace platform {

// The listening socket that the launcher handed over, taken out of the environment so that no child
// process inherits it. Empty when this process was not launched by the platform.
UniqueFd TakeLaunchSocket();

}  // namespace platform

#endif
