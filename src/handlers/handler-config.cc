// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/handler-config.h"

#include "common/logging.h"

namespace handlers {

namespace {

std::vector<std::string> ReadStrings(const YAML::Node& list) {
  if (!list.IsSequence()) throw YAML::Exception(list.Mark(), "not a list");
  std::vector<std::string> strings;
  std::size_t length = 0;
  for (const YAML::Node& item : list) {
    strings.push_back(item.as<std::string>());
    length += strings.back().size();
    if (length > kMaxConfigBytes) {
      throw ConfigLimitError("the request types exceed " + std::to_string(kMaxConfigBytes) +
                             " bytes");
    }
  }
  return strings;
}

}  // namespace

HandlerConfig HandlerConfig::FromYaml(const std::string& path) {
  PackageConfigs package;
  return FromYaml(path, package);
}

HandlerConfig HandlerConfig::FromYaml(const std::string& path, PackageConfigs& package) {
  try {
    return package.Load(path);
  } catch (...) {
    QOR_ERROR("Unable to parse config file: %s", path.c_str());
  }
  return HandlerConfig({});
}

const HandlerConfig& PackageConfigs::Load(const std::string& path) {
  const auto known = files_.find(path);
  if (known != files_.end()) {
    if (!known->second.config)
      throw YAML::Exception(YAML::Mark::null_mark(), "the file is invalid");
    ChargeParseCost(known->second.parse_cost, remaining_cost_);
    return *known->second.config;
  }
  const std::string text = ReadConfigText(path);
  File& file = files_[path];
  file.parse_cost = ParseCost(text);
  ChargeParseCost(file.parse_cost, remaining_cost_);
  // Const, because a lookup in a non-const node may turn the node into a map.
  const YAML::Node root = YAML::Load(text);
  file.config = HandlerConfig(ReadStrings(root["request-types"]));
  return *file.config;
}

}  // namespace handlers
