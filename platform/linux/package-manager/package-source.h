// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_SOURCE_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_SOURCE_H_

#include <string>

#include "platform/linux/package-manager/staging-writer.h"

namespace platform {

// Hands every entry of a package to a stager. `path` is a folder or a .tpk archive (zip). Throws
// PackageRefused for an archive that cannot be read, std::system_error for files that cannot.
void CopyPackage(const std::string& path, Stager* stager);

}  // namespace platform

#endif
