// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_PACKAGE_H_
#define QOR_TOOLS_INSPECT_PACKAGE_H_

#include <set>
#include <string>
#include <vector>

#include "handlers/priority.h"
#include "inspect/finding.h"
#include "platform/linux/common/package-database.h"

namespace tools::inspect {

// What the library makes of a package: its own readers are asked, so that the answers are the same.

struct Priority {
  handlers::DeclaredPriority declared;
  std::string text;  // the metadata value, empty when there is none
  bool preloaded = false;

  // The number that decides.
  int Value() const { return declared.value + (preloaded ? handlers::kPreloadedBonus : 0); }
  // Where it comes from, in words.
  std::string Reason() const;
};

struct Application {
  platform::ApplicationRecord record;
  // The manifest names a configuration file.
  bool is_handler = false;
  std::string config_file;
  std::set<std::string> request_types;
  Priority priority;
  // Why it serves nothing though it is, or was meant to be, a handler.
  std::vector<Finding> errors;
  // Why it will not answer though it is chosen.
  std::vector<Finding> runtime_errors;
  // What was probably meant otherwise.
  std::vector<Finding> warnings;

  // All of them.
  std::vector<Finding> Problems() const;
};

struct Package {
  platform::PackageRecord record;
  std::vector<Application> applications;
};

// `record` has absolute paths. Places in the result name the package's files below `shown_as`.
Package InspectPackage(const platform::PackageRecord& record, const std::string& shown_as);

// Ordered by package id. Throws platform::DatabaseError.
std::vector<Package> InspectInstalledPackages();

}  // namespace tools::inspect

#endif
