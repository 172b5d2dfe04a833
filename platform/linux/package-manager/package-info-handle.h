// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_INFO_HANDLE_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_INFO_HANDLE_H_

#include <memory>

#include "platform/linux/common/package-database.h"

// A package as it stood when the handle was made.
struct package_info_s {
  std::shared_ptr<const platform::PackageRecord> record;
};

#endif
