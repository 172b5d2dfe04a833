// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/event-verification.h"

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/staging.h"

namespace platform {

bool VerifyEvent(const PackageEvent& event, pid_t sender) {
  const bool is_completed = event.state == PACKAGE_MANAGER_EVENT_STATE_COMPLETED;
  if (event.type != PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL)
    return !is_completed || FindPackage(event.package_id) != nullptr;
  if (event.state == PACKAGE_MANAGER_EVENT_STATE_FAILED) return true;
  if (FindPackage(event.package_id) == nullptr) return true;
  return !is_completed && ProcessHandle(sender).HoldsLockOn(RootPath() + "/" + kInstallLock);
}

}  // namespace platform
