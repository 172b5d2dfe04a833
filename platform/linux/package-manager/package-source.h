// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_SOURCE_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_SOURCE_H_

#include <string>

#include "platform/linux/package-manager/staging-writer.h"

namespace platform {

// Passes every entry of a package to the writer, but does not call its Finish(). `path` is a folder
// or a .tpk archive (zip). Throws InvalidPackageError when the archive or an entry is invalid, and
// std::system_error when a file cannot be read.
void CopyPackage(const std::string& path, StagingWriter* writer);

}  // namespace platform

#endif
