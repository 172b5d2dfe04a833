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

// The package is invalid and is not installed. The message is "<file>:<location>: <reason>"; the
// location is a line of the manifest or the name of an entry of the package.
class InvalidPackageError : public std::runtime_error {
 public:
  // `key` names the invalid attribute of the manifest; empty for other errors.
  InvalidPackageError(std::string file, std::string location, std::string reason,
                      std::string key = "")
      : std::runtime_error(file + ":" + location + ": " + reason),
        file_(std::move(file)),
        location_(std::move(location)),
        reason_(std::move(reason)),
        key_(std::move(key)) {}

  const std::string& File() const { return file_; }
  const std::string& Location() const { return location_; }
  const std::string& Reason() const { return reason_; }
  const std::string& Key() const { return key_; }

 private:
  std::string file_;
  std::string location_;
  std::string reason_;
  std::string key_;
};

class NoSuchPackageError : public std::runtime_error {
 public:
  explicit NoSuchPackageError(const std::string& package_id)
      : std::runtime_error("package " + package_id + " is not installed") {}
};

// Returns the package manager's error code for the exception that is being handled. Must be called
// inside a catch block.
//   InvalidPackageError                  PACKAGE_MANAGER_ERROR_INVALID_PARAMETER
//   NoSuchPackageError                   PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE
//   std::system_error: EACCES, EPERM     PACKAGE_MANAGER_ERROR_PERMISSION_DENIED
//   std::system_error, other codes       PACKAGE_MANAGER_ERROR_IO_ERROR
//   std::bad_alloc                       PACKAGE_MANAGER_ERROR_OUT_OF_MEMORY
//   anything else, DatabaseError too     PACKAGE_MANAGER_ERROR_SYSTEM_ERROR
int CurrentErrorCode();

inline constexpr CBoundary kPackageManagerBoundary(kPackageLogTag,
                                                   [](const std::exception&) -> int {
                                                     return CurrentErrorCode();
                                                   });

// Logs the exception that is being handled as an error. Must be called inside a catch block.
void LogCurrentException();

}  // namespace platform

#endif
