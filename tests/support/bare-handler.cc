// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "bare-handler.h"

#include <app_control.h>
#include <service_app.h>

#include <cstdlib>
#include <memory>

namespace support {

namespace {

using OnLaunch = std::function<void(const std::string& agent)>;

void Serve(app_control_h request, void* on_launch) {
  char* caller = nullptr;
  if (app_control_get_caller(request, &caller) != APP_CONTROL_ERROR_NONE) return;
  const std::unique_ptr<char, decltype(&std::free)> owned(caller, std::free);
  (*static_cast<OnLaunch*>(on_launch))(caller);
}

}  // namespace

int RunBareHandler(int argc, char** argv, OnLaunch on_launch) {
  service_app_lifecycle_callback_s callbacks = {};
  callbacks.create = [](void*) { return true; };
  callbacks.app_control = Serve;
  return service_app_main(argc, argv, &callbacks, &on_launch);
}

}  // namespace support
