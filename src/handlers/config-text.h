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

// What the configurations that one package's applications use may weigh together, so that no
// package holds up the main loop: each byte weighs 1, and each that may end a line or begin a node
// kIndicatorWeight more, for it takes the YAML library so much longer.
inline constexpr std::size_t kIndicatorWeight = 32;
inline constexpr std::size_t kMaxConfigWeight = 1114112;

// A limit is exceeded.
class ConfigTooLong : public YAML::Exception {
 public:
  explicit ConfigTooLong(const std::string& what)
      : YAML::Exception(YAML::Mark::null_mark(), what) {}
};

// Reads the text of a configuration file, and no more of it than it may hold. Throws
// YAML::Exception.
std::string ReadConfigText(const std::string& path);

// The weight of a text. An indicator counts wherever it is, for only the parser knows which ones
// are part of a scalar or a comment.
std::size_t ConfigWeight(const std::string& text);

// Subtracts a weight from what is left. Throws ConfigTooLong, without subtracting, if it is less.
void TakeConfigWeight(std::size_t weight, std::size_t& left);

}  // namespace handlers

#endif
