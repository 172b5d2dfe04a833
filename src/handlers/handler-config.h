// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_HANDLER_CONFIG_H_
#define QOR_SRC_HANDLERS_HANDLER_CONFIG_H_

#include <string>
#include <utility>
#include <vector>

namespace handlers {

// What a handler application declares in the YAML file that its manifest points to: a mapping with
// the key "request-types", a list of texts. Neither the file nor all the texts may be longer than
// 1 MiB.
class HandlerConfig {
 public:
  // Throws YAML::Exception when the file cannot be read or understood, or is too long.
  static HandlerConfig Load(const std::string& path);

  // Never fails: a file that cannot be read or understood yields no request types and an error line
  // that names it.
  static HandlerConfig FromYaml(const std::string& path);

  // In file order, duplicates kept.
  const std::vector<std::string>& RequestTypes() const { return request_types_; }

 private:
  explicit HandlerConfig(std::vector<std::string> request_types)
      : request_types_(std::move(request_types)) {}

  std::vector<std::string> request_types_;
};

}  // namespace handlers

#endif
