// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_STAGING_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_STAGING_H_

#include <chrono>
#include <string>

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// Crash safety of installs, updates and uninstalls:
//
// The files of a package are in `packages/<package id>/<generation>/` below the root. Only the
// database says which generation is installed, so that one transaction of the database commits the
// operation. While an operation runs it has an entry in `staging/`: `<generation>` until the
// package's id is known, then `<generation>@<package id>`. The entry is removed last, so that the
// next operation finds and removes everything that a crash has left.

// How long an operation waits for an operation of another process.
constexpr std::chrono::seconds kInstallLockTimeout{60};

// Serializes the operations of all processes below one root. Its constructor also cleans up after
// interrupted operations. Throws std::system_error that names the holder when another process holds
// the lock for longer than the timeout.
class InstallLock {
 public:
  explicit InstallLock(std::chrono::milliseconds timeout = kInstallLockTimeout);

 private:
  UniqueFd file_;
};

// The entry of the running operation in the staging folder, and the package's new files in it.
// Exists only while the install lock is held.
class StagingEntry {
 public:
  StagingEntry();
  // Terminates the processes of generations that are not installed and removes their files.
  ~StagingEntry();
  StagingEntry(const StagingEntry&) = delete;
  StagingEntry& operator=(const StagingEntry&) = delete;

  // Returns an empty folder for the package's new files.
  std::string ContentFolder() const { return entry_ + "/content"; }

  // Sets the package that the operation changes; `installed` is its installed version or null. The
  // destructor removes the data folders of applications that are no longer installed.
  void SetPackage(const std::string& package_id, const PackageRecord* installed);

  // Moves the content to its final path and returns the path.
  std::string MoveContentToPackages();

 private:
  std::string generation_;
  std::string entry_;  // path of the entry in the staging folder
  std::string package_folder_;
};

}  // namespace platform

#endif
