// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/commands/timeout-options.h"

#include <chrono>
#include <string>

#include "qor/commands/validators.h"

namespace tools::cli {

namespace {

CLI::Option* AddMilliseconds(CLI::App& command, const std::string& name,
                             std::chrono::milliseconds& value, const std::string& description) {
  return command
      .add_option_function<int>(
          name, [&value](int number) { value = std::chrono::milliseconds(number); }, description)
      ->check(PositiveNumber())
      ->default_str(std::to_string(value.count()));
}

}  // namespace

std::vector<CLI::Option*> AddTimeoutOptions(CLI::App& command, Timeouts& timeouts) {
  return {AddMilliseconds(command, "--execution-timeout", timeouts.execution,
                          "milliseconds for the handler to answer"),
          AddMilliseconds(command, "--connection-timeout", timeouts.connection,
                          "milliseconds for a launched handler to connect")};
}

}  // namespace tools::cli
