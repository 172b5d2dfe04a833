// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_PACKAGE_FILE_H_
#define QOR_TOOLS_INSPECT_PACKAGE_FILE_H_

#include <optional>
#include <string>

#include "inspect/package.h"
#include "platform/linux/package-manager/errors.h"

namespace tools::inspect {

// A package folder or .tpk file that is not installed, read with all checks of the package manager
// into a temporary folder, which the destructor removes.
class PackageFile {
 public:
  // Throws platform::InvalidPackageError for what the package manager would reject,
  // std::system_error for I/O errors.
  explicit PackageFile(const std::string& path);
  PackageFile(const PackageFile&) = delete;
  PackageFile& operator=(const PackageFile&) = delete;

  const Package& Contents() const { return package_; }

 private:
  struct Folder {
    const std::string path;
    ~Folder();
  };
  const Folder folder_;
  const Package package_;
};

Finding FindingOf(const platform::InvalidPackageError& error);

// Returns why the package manager rejects a package, or nothing. Throws std::system_error.
std::optional<Finding> RejectionOf(const std::string& path);

}  // namespace tools::inspect

#endif
