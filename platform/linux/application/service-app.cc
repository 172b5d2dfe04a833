// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <dlog.h>
#include <fcntl.h>
#include <service_app.h>
#include <sys/socket.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/application/request-server.h"
#include "platform/linux/common/unix-socket.h"

namespace {

bool IsListeningUnixSocket(int fd) {
  int domain = 0;
  int listening = 0;
  socklen_t size = sizeof domain;
  if (getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0 || domain != AF_UNIX) return false;
  size = sizeof listening;
  return getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) == 0 && listening != 0;
}

// Returns the listening socket that the launcher passed on, or nothing when the platform has not
// launched this process. Removes the variable from the environment, so that child processes do not
// take the socket for theirs.
platform::UniqueFd TakeLaunchSocket() {
  const char* const text = std::getenv(platform::kLaunchSocketVariable);
  if (text == nullptr) return platform::UniqueFd();
  int fd = -1;
  const auto parsed = std::from_chars(text, text + std::strlen(text), fd);
  const bool is_number = parsed.ec == std::errc() && *parsed.ptr == '\0';
  unsetenv(platform::kLaunchSocketVariable);
  if (!is_number || !IsListeningUnixSocket(fd)) return platform::UniqueFd();
  fcntl(fd, F_SETFD, FD_CLOEXEC);
  // Makes this process the peer that SO_PEERCRED reports, in case the launched process has passed
  // the socket on to this one.
  listen(fd, SOMAXCONN);
  return platform::UniqueFd(fd);
}

// The application of this process. Exists during service_app_main(), on its thread. Invariant: at
// most one object exists, which Running() returns.
class ServiceApp {
 public:
  ServiceApp(platform::UniqueFd socket, const service_app_lifecycle_callback_s& callbacks,
             void* user_data)
      : socket_(std::move(socket)), callbacks_(callbacks), user_data_(user_data) {
    running_ = this;
  }
  ~ServiceApp() { running_ = nullptr; }
  ServiceApp(const ServiceApp&) = delete;
  ServiceApp& operator=(const ServiceApp&) = delete;

  // Null when there is none.
  static ServiceApp* Running() { return running_; }

  void Run() {
    if (!callbacks_.create(user_data_)) return;
    // ecore_main_loop_quit() has no effect before the loop runs.
    if (!exiting_) RunLoop();
    if (callbacks_.terminate != nullptr) callbacks_.terminate(user_data_);
  }

  void Exit() {
    exiting_ = true;
    ecore_main_loop_quit();
  }

 private:
  void RunLoop() {
    // Destroyed before the terminate callback, so that a launch during the callback starts a new
    // process.
    const platform::RequestServer server(std::move(socket_), [this](app_control_h request) {
      if (callbacks_.app_control != nullptr) callbacks_.app_control(request, user_data_);
    });
    ecore_main_loop_begin();
  }

  platform::UniqueFd socket_;
  const service_app_lifecycle_callback_s callbacks_;
  void* const user_data_;
  bool exiting_ = false;

  static inline ServiceApp* running_ = nullptr;
};

}  // namespace

EXPORT_API int service_app_main(int argc, char** argv, service_app_lifecycle_callback_s* callback,
                                void* user_data) {
  if (argc <= 0 || argv == nullptr || callback == nullptr || callback->create == nullptr)
    return APP_ERROR_INVALID_PARAMETER;
  if (ServiceApp::Running() != nullptr) return APP_ERROR_ALREADY_RUNNING;
  platform::UniqueFd socket = TakeLaunchSocket();
  if (!socket) {
    dlog_print(DLOG_ERROR, "APPCORE", "%s was not launched by the platform", argv[0]);
    return APP_ERROR_INVALID_CONTEXT;
  }
  if (ecore_init() == 0) return APP_ERROR_OUT_OF_MEMORY;
  try {
    ServiceApp(std::move(socket), *callback, user_data).Run();
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, "APPCORE", "%s exits: %s", argv[0], error.what());
  }
  ecore_shutdown();
  return APP_ERROR_NONE;
}

EXPORT_API void service_app_exit(void) {
  if (auto* const app = ServiceApp::Running()) app->Exit();
}
