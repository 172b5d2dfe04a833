// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/start-environment.h"

#include <fstream>

namespace platform {

std::optional<std::string> ReadStartVariable(pid_t pid, const std::string& name) {
  std::ifstream block("/proc/" + std::to_string(pid) + "/environ", std::ios::binary);
  const std::string begin = name + "=";
  for (std::string variable; std::getline(block, variable, '\0');)
    if (variable.rfind(begin, 0) == 0) return variable.substr(begin.size());
  return std::nullopt;
}

}  // namespace platform
