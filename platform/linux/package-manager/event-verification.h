// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_EVENT_VERIFICATION_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_EVENT_VERIFICATION_H_

#include <sys/types.h>

#include "platform/linux/package-manager/package-event.h"

namespace platform {

// Whether an event agrees with the package database: what was installed or updated is there, what
// was uninstalled is not. While it is being uninstalled it still is: then the process that says so
// must hold the installers' lock. Events that come late are true. Throws DatabaseError and
// std::bad_alloc.
bool IsTrue(const PackageEvent& event, pid_t sender);

}  // namespace platform

#endif
