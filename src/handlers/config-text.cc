// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/config-text.h"

#include <fstream>

namespace handlers {

YAML::Node LoadConfigText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text;
  char block[4096];
  while (file.read(block, sizeof block), file.gcount() > 0) {
    text.append(block, static_cast<std::size_t>(file.gcount()));
    if (text.size() > kLongestConfig) throw ConfigTooLong("the file is");
  }
  // A folder can be opened, but gives no bytes.
  if (!file.is_open() || file.bad()) {
    throw YAML::Exception(YAML::Mark::null_mark(), "the file cannot be read");
  }
  return YAML::Load(text);
}

}  // namespace handlers
