// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_HANDLER_CONFIG_H_
#define QOR_SRC_HANDLERS_HANDLER_CONFIG_H_

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "handlers/config-text.h"

namespace handlers {

class PackageConfigs;

// The configuration file of a handler application: a YAML mapping with the key "request-types", a
// list of strings. The limits are in config-text.h.
class HandlerConfig {
 public:
  // Reads a configuration file. On error, logs the path and returns no request types.
  static HandlerConfig FromYaml(const std::string& path);
  static HandlerConfig FromYaml(const std::string& path, PackageConfigs& package);

  // Returns the request types in the order of the file, including duplicates.
  const std::vector<std::string>& RequestTypes() const { return request_types_; }

 private:
  friend class PackageConfigs;
  explicit HandlerConfig(std::vector<std::string> request_types)
      : request_types_(std::move(request_types)) {}

  std::vector<std::string> request_types_;
};

// The configuration files of the applications of one package. Each file is parsed once, valid or
// not, but its cost is charged to the package's limit for every application that uses it.
class PackageConfigs {
 public:
  // Returns the configuration in a file, for one more application. Throws YAML::Exception if the
  // file cannot be read, is invalid or exceeds a limit.
  const HandlerConfig& Load(const std::string& path);

 private:
  struct File {
    std::size_t parse_cost = 0;
    std::optional<HandlerConfig> config;
  };

  std::map<std::string, File> files_;
  std::size_t remaining_cost_ = kMaxParseCost;
};

}  // namespace handlers

#endif
