// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_PACKAGE_DATABASE_H_
#define PLATFORM_LINUX_COMMON_PACKAGE_DATABASE_H_

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sqlite/database.h"

namespace platform {

using sqlite::DatabaseError;

// The installed packages below the current root (RootPath()), stored in kPackageDatabase. All
// functions are thread-safe, see the changes of other processes, and throw DatabaseError with a
// text that names the file. Queries create nothing, and find nothing while the file does not exist.
//
// A writer never modifies the file; it writes a new one and renames it over the old one. Queries
// therefore need no lock, and no process can delay the queries of another.

// The values of the platform's package interface.
enum class ApplicationKind { kUi = 1, kService = 2, kWidget = 3, kWatch = 4 };

struct ApplicationRecord {
  std::string id;
  std::string package_id;
  ApplicationKind kind = ApplicationKind::kService;
  std::string executable;  // absolute, without symbolic links: as /proc/<pid>/exe shows it
  bool preload = false;    // of its package
  std::string package_root;
  std::vector<std::pair<std::string, std::string>> metadata;  // in manifest order
};

struct PackageRecord {
  std::string id;
  std::string version;
  std::string type = "tpk";
  std::string root_path;  // absolute, without a trailing slash
  bool preload = false;
  std::vector<ApplicationRecord> applications;  // in manifest order
  std::vector<std::string> privileges;          // in manifest order
};

struct MetadataCondition {
  std::string key;
  std::optional<std::string> value;  // empty: any value
};

// Null when the package is not installed.
std::shared_ptr<const PackageRecord> FindPackage(const std::string& package_id);
std::optional<ApplicationRecord> FindApplication(const std::string& app_id);
// Returns the id of the application with that executable.
std::optional<std::string> FindApplicationIdByExecutable(const std::string& path);

// Ordered by package id.
std::vector<PackageRecord> AllPackages();

// Returns the applications that meet every condition, ordered by package id, then as in the
// manifest.
std::vector<ApplicationRecord> FindApplicationsWithMetadata(
    const std::vector<MetadataCondition>& conditions);

// Whether the package of an application lists the privilege. False for an unknown application.
bool PackageOfApplicationHasPrivilege(const std::string& app_id, const std::string& privilege);

// The functions below write. The caller must hold the lock on kInstallLock, which excludes writers
// of other processes.

// Adds the packages or replaces their old records, all of them or none. Fails for an application id
// of another package. `preload`, `package_id` and `package_root` of the applications are taken
// from the package.
void StorePackages(const std::vector<PackageRecord>& packages);
void StorePackage(const PackageRecord& package);

// Does nothing when there is no such package.
void RemovePackage(const std::string& package_id);

}  // namespace platform

#endif
