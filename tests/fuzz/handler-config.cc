// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Files of request types: as the library takes them, and as the tool explains them.

#include "handlers/handler-config.h"

#include <set>

#include "inspect/config-file.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::WriteFile("handler.yaml", fuzz::TextOf(data, size));
  const auto types = handlers::HandlerConfig::FromYaml(path).RequestTypes();
  handlers::PackageConfigs package;
  const inspect::ConfigFile file = inspect::ReadConfigFile(path, "handler.yaml", package);
  fuzz::Require(file.request_types == std::set<std::string>(types.begin(), types.end()),
                "the tool sees the request types that the library takes");
  fuzz::Require(types.empty() == !file.obstacles.empty(),
                "the tool says why there is no request type");
  for (const std::string& type : types) inspect::LineOfRequestType(path, type);
  return 0;
}
