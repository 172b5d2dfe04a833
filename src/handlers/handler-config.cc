// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/handler-config.h"

#include "common/logging.h"

namespace handlers {

namespace {

std::vector<std::string> TextsOf(const YAML::Node& list) {
  if (!list.IsSequence()) throw YAML::Exception(list.Mark(), "not a list");
  std::vector<std::string> texts;
  std::size_t length = 0;
  for (const YAML::Node& item : list) {
    texts.push_back(item.as<std::string>());
    length += texts.back().size();
    if (length > kLongestConfig) {
      throw ConfigTooLong("the request types are together longer than " +
                          std::to_string(kLongestConfig) + " bytes");
    }
  }
  return texts;
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
    TakeConfigWeight(known->second.weight, left_);
    return *known->second.config;
  }
  const std::string text = ReadConfigText(path);
  File& file = files_[path];
  file.weight = ConfigWeight(text);
  TakeConfigWeight(file.weight, left_);
  // Const, because looking a key up in a node that is not const may turn the node into a map.
  const YAML::Node root = YAML::Load(text);
  file.config = HandlerConfig(TextsOf(root["request-types"]));
  return *file.config;
}

}  // namespace handlers
