// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/handler-config.h"

#include <yaml-cpp/yaml.h>

#include "common/logging.h"

namespace handlers {

HandlerConfig HandlerConfig::Load(const std::string& path) {
  // Const, because looking a key up in a node that is not const may turn the node into a map.
  const YAML::Node root = YAML::LoadFile(path);
  return HandlerConfig(root["request-types"].as<std::vector<std::string>>());
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
