// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_CONFIG_FILE_H_
#define QOR_TOOLS_INSPECT_CONFIG_FILE_H_

#include <set>
#include <string>
#include <vector>

#include "handlers/handler-config.h"
#include "inspect/finding.h"

namespace tools::inspect {

// A handler's configuration file as the library reads it.
struct ConfigFile {
  std::set<std::string> request_types;
  // Reasons why there are no request types.
  std::vector<Finding> errors;
  // Items that are probably mistakes.
  std::vector<Finding> warnings;
};

// Reads the file of one application. `package` counts the limits that the applications of a package
// share. Locations in the result name the file as `shown_as`. Does not throw for invalid files.
ConfigFile ReadConfigFile(const std::string& path, const std::string& shown_as,
                          handlers::PackageConfigs& package);

// Returns the line of a request type in the file, or 0.
int LineOfRequestType(const std::string& path, const std::string& type);

}  // namespace tools::inspect

#endif
