// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/operation-end.h"

#include <package_manager.h>

namespace bench {

void WatchForTheEndOfOperations(bool* is_over) {
  package_manager_h manager = nullptr;
  package_manager_create(&manager);
  package_manager_set_event_status(manager, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  package_manager_set_event_cb(
      manager,
      [](const char*, const char*, package_manager_event_type_e,
         package_manager_event_state_e state, int, package_manager_error_e, void* data) {
        if (state == PACKAGE_MANAGER_EVENT_STATE_COMPLETED) *static_cast<bool*>(data) = true;
      },
      is_over);
}

}  // namespace bench
