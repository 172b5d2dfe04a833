// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_LAUNCH_PROTOCOL_H_
#define PLATFORM_LINUX_APP_CONTROL_LAUNCH_PROTOCOL_H_

namespace platform {

// Launch protocol:
//
// Every application has a listening Unix socket below the root, named after its id. The process
// that launches the application creates the socket and passes it on as an inherited descriptor, so
// that requests queue in the kernel while the application starts. The new process calls listen()
// again, which makes it the peer that SO_PEERCRED reports to launchers.
//
// While connecting succeeds and the peer executes the application, the application is running or
// starting. Each request is one message on a connection of its own; the application acknowledges it
// after reading it. A lock file of the same name serializes launchers, so that only one process is
// started. The folders are kApplicationSocketFolder and kApplicationLockFolder.

// Environment variable with the number of the inherited descriptor.
inline constexpr char kLaunchSocketVariable[] = "QOR_PLATFORM_LAUNCH_SOCKET";

}  // namespace platform

#endif
