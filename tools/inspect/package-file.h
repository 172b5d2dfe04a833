// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_PACKAGE_FILE_H_
#define QOR_TOOLS_INSPECT_PACKAGE_FILE_H_

#include <optional>
#include <string>

#include "inspect/package.h"
#include "platform/linux/package-manager/errors.h"

namespace tools::inspect {

// A package that is not installed: a folder or a .tpk file, read as the package manager would, with
// all its checks, from a temporary folder that is gone with this object.
class PackageFile {
 public:
  // Throws platform::InvalidPackageError for what the package manager would refuse,
  // std::system_error for trouble with files.
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

Finding FindingOf(const platform::InvalidPackageError& refusal);

// Why the package manager refuses a package; empty when it does not. Throws std::system_error.
std::optional<Finding> WhyRefused(const std::string& path);

}  // namespace tools::inspect

#endif
