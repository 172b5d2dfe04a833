// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_CHECK_PACKAGE_CHECKS_H_
#define QOR_TOOLS_CHECK_PACKAGE_CHECKS_H_

#include <optional>
#include <string>

#include "check/check.h"
#include "inspect/package.h"

namespace tools::check {

// Checks what a package, a folder or a .tpk file, declares. Returns its contents unless the package
// manager would refuse it. Throws std::system_error for trouble with files.
std::optional<inspect::Package> CheckPackage(const std::string& path, const Reporter& report);

}  // namespace tools::check

#endif
