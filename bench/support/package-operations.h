// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_PACKAGE_OPERATIONS_H_
#define QOR_BENCH_SUPPORT_PACKAGE_OPERATIONS_H_

#include <string>

namespace bench {

// Installs or updates a package from a folder. Throws std::runtime_error.
void InstallPackage(const std::string& folder);
void UninstallPackage(const std::string& id);

// Sets `*is_finished` at the end of every package operation until the process exits. `is_finished`
// must live as long: installers wait for their listeners, so the callback is never removed.
void WatchPackageOperations(bool* is_finished);

}  // namespace bench

#endif
