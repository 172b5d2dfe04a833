// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_LAUNCHER_H_
#define PLATFORM_LINUX_APP_CONTROL_LAUNCHER_H_

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/linux/common/package-database.h"

namespace platform {

inline constexpr char kLaunchLogTag[] = "APPCTL";

// How long a launch waits for another process that holds the lock on launches of the application.
inline constexpr std::chrono::seconds kLaunchLockTimeout{5};

class LaunchFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Starts the application unless it runs already and hands it the request. Nothing is sent to a
// listener that does not execute the application: it loses its place to a new process. Returns when
// the kernel has the whole request, which may be before the application has started. Throws
// std::system_error when that fails, and LaunchFailed when the executable cannot be started. An
// application that was updated since it was looked up is started as what it is now.
//
// When another process has locked the launch, the main loop's thread does not wait: the main loop
// tries again for kLaunchLockTimeout and logs an error when that was in vain. In other threads this
// waits as long, and then throws LaunchFailed.
//
// A process that ran already may end before it takes the request. When the main loop's thread
// launched, the main loop then starts a new process with it.
//
// A new process gets the launcher's root in its environment, a session of its own, default signal
// handling, the package's folder as its working folder, /dev/null for its standard input, output
// and error, and no other descriptor but its listening socket. In a program with an Ecore main
// loop, Ecore reaps it.
void LaunchWith(const ApplicationRecord& application, const std::vector<uint8_t>& request);

// That another process has locked the application's launch, and which.
std::string LaunchLockError(const std::string& app_id);

}  // namespace platform

#endif
