// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/handler-config.h"

#include "common/logging.h"
#include "handlers/config-text.h"

namespace handlers {

namespace {

std::vector<std::string> TextsOf(const YAML::Node& list) {
  if (!list.IsSequence()) throw YAML::Exception(list.Mark(), "not a list");
  std::vector<std::string> texts;
  std::size_t length = 0;
  for (const YAML::Node& item : list) {
    texts.push_back(item.as<std::string>());
    length += texts.back().size();
    if (length > kLongestConfig) throw ConfigTooLong("the request types are together");
  }
  return texts;
}

}  // namespace

HandlerConfig HandlerConfig::Load(const std::string& path) {
  // Const, because looking a key up in a node that is not const may turn the node into a map.
  const YAML::Node root = LoadConfigText(path);
  return HandlerConfig(TextsOf(root["request-types"]));
}

HandlerConfig HandlerConfig::FromYaml(const std::string& path) {
  try {
    return Load(path);
  } catch (...) {
    QOR_ERROR("Unable to parse config file: %s", path.c_str());
  }
  return HandlerConfig({});
}

}  // namespace handlers
