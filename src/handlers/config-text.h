// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_CONFIG_TEXT_H_
#define QOR_SRC_HANDLERS_CONFIG_TEXT_H_

#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <string>

namespace handlers {

// Maximum size of a configuration file and, separately, of all its request types, which aliases may
// multiply.
inline constexpr std::size_t kMaxConfigBytes = std::size_t{1} << 20;

// An estimate of the time to parse a text: 1 for each byte, and kIndicatorCost for each character
// that may end a line or begin a node, since the YAML library takes that much longer for them.
// Parsing happens on the main loop's thread, so the cost of all configuration files of a package is
// limited.
inline constexpr std::size_t kIndicatorCost = 32;
inline constexpr std::size_t kMaxParseCost = 1114112;

// A configuration file exceeds a limit.
class ConfigLimitError : public YAML::Exception {
 public:
  explicit ConfigLimitError(const std::string& what)
      : YAML::Exception(YAML::Mark::null_mark(), what) {}
};

// Reads a configuration file. Throws ConfigLimitError after kMaxConfigBytes, YAML::Exception if the
// file cannot be read.
std::string ReadConfigText(const std::string& path);

// Returns the cost of a text. Counts indicators in scalars and comments as well, which only the
// parser could distinguish.
std::size_t ParseCost(const std::string& text);

// Subtracts `cost` from `remaining`. Throws ConfigLimitError, without subtracting, if less remains.
void ChargeParseCost(std::size_t cost, std::size_t& remaining);

}  // namespace handlers

#endif
