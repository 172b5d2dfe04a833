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

// The contents of packages as the library sees them. The library's own readers are used, so that
// the results are the same.

struct Priority {
  handlers::DeclaredPriority declared;
  std::string text;  // the metadata value, or empty
  bool preloaded = false;

  // The effective priority.
  int Value() const { return declared.value + (preloaded ? handlers::kPreloadedBonus : 0); }
  // Describes the origin of the value.
  std::string Reason() const;
};

struct Application {
  platform::ApplicationRecord record;
  // Whether the manifest has the metadata key of a configuration file.
  bool is_handler = false;
  std::string config_file;
  std::set<std::string> request_types;
  Priority priority;
  // Prevent the application from serving request types.
  std::vector<Finding> errors;
  // Prevent the handler from answering commands although it is selected.
  std::vector<Finding> runtime_errors;
  // Probable mistakes.
  std::vector<Finding> warnings;

  // Errors, runtime errors and warnings, in this order.
  std::vector<Finding> Problems() const;
};

struct Package {
  platform::PackageRecord record;
  std::vector<Application> applications;
  // Probable mistakes that concern no single application.
  std::vector<Finding> warnings = {};
};

// `record` has absolute paths. Locations in the result name the package's files below `shown_as`.
Package InspectPackage(const platform::PackageRecord& record, const std::string& shown_as);

// Ordered by package id. Throws platform::DatabaseError.
std::vector<Package> InspectInstalledPackages();

}  // namespace tools::inspect

#endif
