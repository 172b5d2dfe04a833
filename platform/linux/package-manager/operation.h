// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_OPERATION_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_OPERATION_H_

#include <chrono>
#include <string>

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// Below the root, packages lie as `packages/<package id>/<generation>/`. The database alone says
// which generation is installed, so its one transaction switches from the old state to the new.
// What an operation works on has an entry in `staging/`: `<generation>` while the package's id is
// not known, `<generation>@<package id>` then. The entry goes last, so whatever a crash leaves
// behind is found through it.

// How long an operation waits for the one of another process.
constexpr std::chrono::seconds kInstallLockTimeout{60};

// One install, update or uninstall at a time below one root, across all processes. Also clears away
// what an interrupted operation left. Throws std::system_error, which names the holder, when
// another process holds the lock for longer than the timeout.
class InstallLock {
 public:
  explicit InstallLock(std::chrono::milliseconds timeout = kInstallLockTimeout);

 private:
  UniqueFd file_;
};

// The files of one operation. To be made under the lock.
class Operation {
 public:
  Operation();
  // Ends processes of what is no longer installed and removes its files.
  ~Operation();
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  // An empty folder for the package's new files.
  std::string ContentFolder() const { return entry_ + "/content"; }

  // Names the package that changes, and what is installed of it now (null: nothing). The data
  // folders of applications that are not installed in the end are removed with the rest.
  void Claim(const std::string& package_id, const PackageRecord* installed);

  // Moves the content to its final place, which it returns.
  std::string PlaceContent();

 private:
  std::string generation_;
  std::string entry_;
  std::string package_folder_;
};

}  // namespace platform

#endif
