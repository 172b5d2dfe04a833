// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_EVENT_VERIFICATION_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_EVENT_VERIFICATION_H_

#include <sys/types.h>

#include "platform/linux/package-manager/package-event.h"

namespace platform {

// Returns whether an event is consistent with the package database, since any process of the user
// can send events. An installed or updated package must be in the database, an uninstalled package
// must not. A package that is being uninstalled still is, so the sender must then hold the install
// lock. The state of the database decides, so events that are delivered late are accepted. Throws
// DatabaseError and std::bad_alloc.
bool VerifyEvent(const PackageEvent& event, pid_t sender);

}  // namespace platform

#endif
