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

// What a handler application declares in the YAML file that its manifest points to: a mapping with
// the key "request-types", a list of texts. Neither the file nor all the texts may be longer than
// 1 MiB, nor may the files of a package weigh more than kMaxConfigWeight.
class HandlerConfig {
 public:
  // Never fails: a file that cannot be read or understood, or exceeds a limit, yields no request
  // types and an error line that names it.
  static HandlerConfig FromYaml(const std::string& path);
  static HandlerConfig FromYaml(const std::string& path, PackageConfigs& package);

  // In file order, duplicates kept.
  const std::vector<std::string>& RequestTypes() const { return request_types_; }

 private:
  friend class PackageConfigs;
  explicit HandlerConfig(std::vector<std::string> request_types)
      : request_types_(std::move(request_types)) {}

  std::vector<std::string> request_types_;
};

// The configuration files of the applications of one package, each of which is parsed once.
class PackageConfigs {
 public:
  // Returns the configuration in a file, for one more application: each of those that use a file
  // adds its weight. Throws YAML::Exception when the file cannot be read or understood, or exceeds
  // a limit.
  const HandlerConfig& Load(const std::string& path);

 private:
  struct File {
    std::size_t weight = 0;
    std::optional<HandlerConfig> config;
  };

  std::map<std::string, File> files_;
  std::size_t left_ = kMaxConfigWeight;
};

}  // namespace handlers

#endif
