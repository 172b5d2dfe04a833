// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_ERRORS_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_ERRORS_H_

#include <stdexcept>
#include <string>
#include <utility>

#include "platform/linux/common/c-boundary.h"

namespace platform {

inline constexpr char kPackageLogTag[] = "PKGMGR";

// A package that must not be installed. The text is "<file>:<place>: <reason>", where the place is
// a line of the manifest or an entry of the package.
class PackageRefused : public std::runtime_error {
 public:
  // `key` is the attribute or the like that is wrong, empty when there is none.
  PackageRefused(std::string file, std::string place, std::string reason, std::string key = "")
      : std::runtime_error(file + ":" + place + ": " + reason),
        file_(std::move(file)),
        place_(std::move(place)),
        reason_(std::move(reason)),
        key_(std::move(key)) {}

  const std::string& File() const { return file_; }
  const std::string& Place() const { return place_; }
  const std::string& Reason() const { return reason_; }
  const std::string& Key() const { return key_; }

 private:
  std::string file_;
  std::string place_;
  std::string reason_;
  std::string key_;
};

class NoSuchPackage : public std::runtime_error {
 public:
  explicit NoSuchPackage(const std::string& package_id)
      : std::runtime_error("package " + package_id + " is not installed") {}
};

// To be called inside a catch block: the package manager's error code for what was caught.
//   PackageRefused                       PACKAGE_MANAGER_ERROR_INVALID_PARAMETER
//   NoSuchPackage                        PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE
//   files that may not be touched        PACKAGE_MANAGER_ERROR_PERMISSION_DENIED
//   other trouble with files             PACKAGE_MANAGER_ERROR_IO_ERROR
//   no memory                            PACKAGE_MANAGER_ERROR_OUT_OF_MEMORY
//   package database, anything else      PACKAGE_MANAGER_ERROR_SYSTEM_ERROR
int ErrorCodeOfCaught();

inline constexpr CBoundary kPackageManagerBoundary(kPackageLogTag,
                                                   [](const std::exception&) -> int {
                                                     return ErrorCodeOfCaught();
                                                   });

void LogCaught();

}  // namespace platform

#endif
