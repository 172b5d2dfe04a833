// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <dlog.h>
#include <service_app.h>

#include <exception>
#include <utility>

#include "platform/linux/application/launch-socket.h"
#include "platform/linux/application/request-server.h"

namespace {

// The one application of this process. Lives inside service_app_main(), on its thread.
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
    // Quitting a main loop that does not run yet has no effect.
    if (!exiting_) RunLoop();
    if (callbacks_.terminate != nullptr) callbacks_.terminate(user_data_);
  }

  void Exit() {
    exiting_ = true;
    ecore_main_loop_quit();
  }

 private:
  void RunLoop() {
    // Gone before the terminate callback: who launches the application then gets a new process.
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
  platform::UniqueFd socket = platform::TakeLaunchSocket();
  if (!socket) {
    dlog_print(DLOG_ERROR, "APPCORE", "%s was not launched by the platform", argv[0]);
    return APP_ERROR_INVALID_CONTEXT;
  }
  if (ecore_init() == 0) return APP_ERROR_OUT_OF_MEMORY;
  try {
    ServiceApp(std::move(socket), *callback, user_data).Run();
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, "APPCORE", "%s ended: %s", argv[0], error.what());
  }
  ecore_shutdown();
  return APP_ERROR_NONE;
}

EXPORT_API void service_app_exit(void) {
  if (auto* const app = ServiceApp::Running()) app->Exit();
}
