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

// A handler's configuration file as the library takes it.
struct ConfigFile {
  std::set<std::string> request_types;
  // Why there is no request type.
  std::vector<Finding> errors;
  // Items that were probably meant otherwise.
  std::vector<Finding> warnings;
};

// For one more application of the package. The places in the result name the file as `shown_as`.
ConfigFile ReadConfigFile(const std::string& path, const std::string& shown_as,
                          handlers::PackageConfigs& package);

// The line on which a request type stands, 0 when it does not.
int LineOfRequestType(const std::string& path, const std::string& type);

}  // namespace tools::inspect

#endif
