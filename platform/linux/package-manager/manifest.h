// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_MANIFEST_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_MANIFEST_H_

#include <string>

#include "platform/linux/common/package-database.h"

namespace platform {

// At the top of a package.
inline constexpr char kManifestFile[] = "tizen-manifest.xml";

// Reads and validates `tizen-manifest.xml` of the unpacked package in `folder`, none of whose links
// leads out of the folder. Errors name the package `shown_as`, which is the path that the user has
// given. In the result the executables are relative to the folder and without links, and root_path
// is empty. Throws InvalidPackageError, with kManifestFile as its key if there is none.
PackageRecord ReadManifest(const std::string& folder, const std::string& shown_as);

}  // namespace platform

#endif
