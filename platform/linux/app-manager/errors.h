// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_MANAGER_ERRORS_H_
#define PLATFORM_LINUX_APP_MANAGER_ERRORS_H_

#include <app_manager.h>

#include "platform/linux/common/c-boundary.h"
#include "sqlite/database.h"

namespace platform {

// The interface distinguishes errors of the package database from all others.
inline constexpr CBoundary kAppManagerBoundary("APPMGR", [](const std::exception& error) -> int {
  const bool is_of_database = dynamic_cast<const sqlite::DatabaseError*>(&error) != nullptr;
  return is_of_database ? APP_MANAGER_ERROR_DB_FAILED : APP_MANAGER_ERROR_IO_ERROR;
});

}  // namespace platform

#endif
