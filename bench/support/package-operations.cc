// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/package-operations.h"

#include <package_manager.h>

#include <stdexcept>

namespace bench {

namespace {

using RequestFunction = int (*)(package_manager_request_h, const char*, int*);

void Run(RequestFunction function, const std::string& argument) {
  package_manager_request_h request = nullptr;
  int id = 0;
  package_manager_request_create(&request);
  const int result = function(request, argument.c_str(), &id);
  package_manager_request_destroy(request);
  if (result != 0) throw std::runtime_error("package operation failed: " + argument);
}

}  // namespace

void InstallPackage(const std::string& folder) { Run(package_manager_request_install, folder); }

void UninstallPackage(const std::string& id) { Run(package_manager_request_uninstall, id); }

void WatchPackageOperations(bool* is_finished) {
  package_manager_h manager = nullptr;
  package_manager_create(&manager);
  package_manager_set_event_status(manager, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  package_manager_set_event_cb(
      manager,
      [](const char*, const char*, package_manager_event_type_e,
         package_manager_event_state_e state, int, package_manager_error_e, void* data) {
        if (state == PACKAGE_MANAGER_EVENT_STATE_COMPLETED) *static_cast<bool*>(data) = true;
      },
      is_finished);
}

}  // namespace bench
