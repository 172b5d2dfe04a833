// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_MANIFEST_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_MANIFEST_H_

#include <string>

#include "platform/linux/common/package-database.h"

namespace platform {

// Reads and checks `tizen-manifest.xml` of the unpacked package in `folder`, whose links are known
// to stay inside. `shown_as` is the name under which the user knows the package. The executables in
// the result are relative to the folder, free of links; root_path is empty. Throws PackageRefused.
//
// A manifest is at most 1 MiB long. The rules for ids are in platform/linux/common/ids.h.
PackageRecord ReadManifest(const std::string& folder, const std::string& shown_as);

}  // namespace platform

#endif
