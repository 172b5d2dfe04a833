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

// What is installed below the current root (RootPath()), kept in kPackageDatabase. All functions
// are safe from any thread, see what other processes stored, and throw DatabaseError with a text
// that names the file. While nothing was ever installed the queries find nothing and create
// nothing.
//
// The file is never modified in place: a writer writes a new file and renames it over the old one.
// Queries take no lock, so that no process can delay those of another.

// Numbered as the platform's package interface numbers them.
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
  std::optional<std::string> value;  // empty: the key alone decides
};

// Those that ask for a package between two changes share its record.
std::shared_ptr<const PackageRecord> FindPackage(const std::string& package_id);
std::optional<ApplicationRecord> FindApplication(const std::string& app_id);
// The id of the application that an executable belongs to.
std::optional<std::string> FindApplicationIdByExecutable(const std::string& path);

// Ordered by package id.
std::vector<PackageRecord> AllPackages();

// The applications that meet every condition, ordered by package id, then as in the manifest.
std::vector<ApplicationRecord> FindApplicationsWithMetadata(
    const std::vector<MetadataCondition>& conditions);

// Whether the package of an application lists the privilege. False for an unknown application.
bool PackageOfApplicationHasPrivilege(const std::string& app_id, const std::string& privilege);

// The functions below write. Other processes must not write meanwhile; the lock of installations
// sees to that.

// Adds the packages or replaces their old records, all of them or none. An application id of
// another package fails. `preload`, `package_id` and `package_root` of the applications are taken
// from the package.
void StorePackages(const std::vector<PackageRecord>& packages);
void StorePackage(const PackageRecord& package);

// Does nothing when there is no such package.
void RemovePackage(const std::string& package_id);

}  // namespace platform

#endif
