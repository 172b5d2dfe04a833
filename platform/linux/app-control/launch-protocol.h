// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_LAUNCH_PROTOCOL_H_
#define PLATFORM_LINUX_APP_CONTROL_LAUNCH_PROTOCOL_H_

namespace platform {

// Every application has a listening Unix socket, named after its id, below the root. Who launches
// it first makes the socket and hands it over as an inherited descriptor, so that requests queue up
// in the kernel while the application starts. The new process listens on it anew: the kernel names
// it to those who connect. As long as connecting works and the listener executes the application,
// it runs or starts; each request is one message on a connection of its own, which the application
// acknowledges when it has taken it. A lock file of the same name lets one launcher at a time
// decide whether a process must be started. The folders are kApplicationSocketFolder and
// kApplicationLockFolder.

// Holds the number of the inherited descriptor.
inline constexpr char kLaunchSocketVariable[] = "QOR_PLATFORM_LAUNCH_SOCKET";

}  // namespace platform

#endif
