// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_COMMAND_TREE_H_
#define QOR_TOOLS_QOR_COMMANDS_COMMAND_TREE_H_

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace tools::cli {

// One command of the command line, as its help shows it; what is hidden there is left out.
struct Command {
  const CLI::App* app;
  std::vector<std::string> path;  // below the tool: {"package", "install"}
  std::vector<const CLI::App*> subcommands;
  std::vector<const CLI::Option*> options;
  std::vector<const CLI::Option*> positionals;
};

// The whole tree, the tool itself first, parents before children.
std::vector<Command> CommandsOf(const CLI::App& tool);

// Whether a value follows the option.
bool TakesValue(const CLI::Option& option);

}  // namespace tools::cli

#endif
