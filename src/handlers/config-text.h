// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_CONFIG_TEXT_H_
#define QOR_SRC_HANDLERS_CONFIG_TEXT_H_

#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <string>

namespace handlers {

// In bytes: of a configuration file, and of all its request types, which aliases may multiply.
inline constexpr std::size_t kLongestConfig = std::size_t{1} << 20;

// There is more than that of one of them.
class ConfigTooLong : public YAML::Exception {
 public:
  explicit ConfigTooLong(const std::string& what)
      : YAML::Exception(YAML::Mark::null_mark(),
                        what + " longer than " + std::to_string(kLongestConfig) + " bytes") {}
};

// Reads a configuration file and no more of it than it may hold. Throws YAML::Exception.
YAML::Node LoadConfigText(const std::string& path);

}  // namespace handlers

#endif
