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

// How long a launch waits for another process that holds the launch lock of the application.
inline constexpr std::chrono::seconds kLaunchLockTimeout{5};

class LaunchError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Starts the application unless it is running and sends it the request. Returns when the request is
// in the socket's buffer, which may be before the application has started. If `application` is
// outdated because of an update, the installed version is started. A process that listens on the
// application's socket but does not execute the application receives nothing and is replaced.
// Throws std::system_error when the request cannot be sent, and LaunchError when the executable
// cannot be started.
//
// While another process holds the launch lock, a call on the main loop's thread does not wait: the
// main loop retries for kLaunchLockTimeout, then logs an error. A call on another thread waits and
// throws LaunchError after the timeout.
//
// A running process may exit before it reads the request. For calls on the main loop's thread, the
// main loop then starts a new process with the request.
//
// A new process has the launcher's root in its environment, its own session, default signal
// dispositions, the package's folder as working folder, /dev/null as standard input, the log of the
// application as standard output and error (log-pipe.h), and no other descriptor than its listening
// socket. Ecore reaps it in programs with an Ecore main loop. The ends of processes started on the
// main loop's thread are reported, without reaping them (process-watch.h).
//
// A script is not started: the kernel would report its interpreter as the executed program.
void LaunchApplication(const ApplicationRecord& application, const std::vector<uint8_t>& request);

// Returns an error message that names the holder of the application's launch lock.
std::string DescribeLaunchLock(const std::string& app_id);

}  // namespace platform

#endif
