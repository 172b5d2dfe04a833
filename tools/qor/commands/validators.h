// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_VALIDATORS_H_
#define QOR_TOOLS_QOR_COMMANDS_VALIDATORS_H_

#include <CLI/CLI.hpp>

#include <charconv>
#include <limits>
#include <string>

namespace tools::cli {

// Accepts whole numbers from 1 to the largest int.
inline CLI::Validator PositiveNumber() {
  return CLI::Validator(
      [](std::string& text) {
        int number = 0;
        const char* const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, number);
        const bool is_valid = error == std::errc() && rest == end && number > 0;
        return is_valid ? std::string()
                        : "not a whole number from 1 to " +
                              std::to_string(std::numeric_limits<int>::max()) + ": " + text;
      },
      "POSITIVE");
}

}  // namespace tools::cli

#endif
