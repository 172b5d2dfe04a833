// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_CHECK_PACKAGE_CHECKS_H_
#define QOR_TOOLS_CHECK_PACKAGE_CHECKS_H_

#include <optional>
#include <string>

#include "check/check.h"
#include "inspect/package.h"

namespace tools::check {

// Checks the declarations of a package folder or .tpk file. Returns its contents, or nothing when
// the package manager would reject it. Throws std::system_error for I/O errors.
std::optional<inspect::Package> CheckPackage(const std::string& path, const Reporter& report);

// The same for a package that has been read from `path`.
void CheckContents(const inspect::Package& package, const std::string& path,
                   const Reporter& report);

}  // namespace tools::check

#endif
