// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler application that never connects, to show an agent's connection timeout.

#include <service_app.h>

int main(int argc, char** argv) {
  service_app_lifecycle_callback_s callbacks = {};
  callbacks.create = [](void*) { return true; };
  callbacks.terminate = [](void*) {};
  callbacks.app_control = [](app_control_h, void*) {};
  return service_app_main(argc, argv, &callbacks, nullptr);
}
