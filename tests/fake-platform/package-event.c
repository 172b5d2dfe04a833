/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#include "package-event.h"

void fake_call_package_event_cb(package_manager_event_cb callback, const char* type,
                                const char* package, int event_type,
                                package_manager_event_state_e event_state, void* user_data) {
  const int progress = event_state == PACKAGE_MANAGER_EVENT_STATE_COMPLETED ? 100 : 0;
  callback(type, package, (package_manager_event_type_e)event_type, event_state, progress,
           PACKAGE_MANAGER_ERROR_NONE, user_data);
}
