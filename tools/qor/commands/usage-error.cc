// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/commands/usage-error.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "inspect/similar.h"

namespace tools::cli {

namespace {

using Names = std::vector<std::string>;

// Returns the command that the arguments select.
const CLI::App& Selected(const CLI::App& tool) {
  const CLI::App* command = &tool;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  return *command;
}

std::string PathOf(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return (parent != nullptr ? PathOf(*parent) + " " : "") + command.get_name();
}

Names OptionsOf(const CLI::App& command) {
  Names names;
  for (const CLI::Option* option : command.get_options()) {
    for (const auto& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

Names SubcommandsOf(const CLI::App& command) {
  Names names;
  for (const CLI::App* subcommand : command.get_subcommands(nullptr)) {
    names.push_back(subcommand->get_name());
  }
  return names;
}

std::string Unknown(const CLI::App& command, const std::string& argument) {
  const bool is_option = argument.size() > 1 && argument[0] == '-';
  const std::string name = is_option ? argument.substr(0, argument.find('=')) : argument;
  const Names names = is_option ? OptionsOf(command) : SubcommandsOf(command);
  const char* const kind = is_option ? "option" : names.empty() ? "argument" : "command";
  const auto similar = std::find_if(names.begin(), names.end(), [&name](const auto& known) {
    return inspect::IsNearMiss(name, known);
  });
  return std::string("unknown ") + kind + " \"" + name + "\"" +
         (similar != names.end() ? ": did you mean \"" + *similar + "\"?"
                                 : ", see \"" + PathOf(command) + " --help\"");
}

// The message begins in lower case, except for the name of an argument.
std::string MessageOf(const CLI::App& command, const CLI::ParseError& error) {
  if (!command.get_subcommands(nullptr).empty())
    return "missing command, see \"" + PathOf(command) + " --help\"";
  std::string message = error.what();
  if (message.size() > 1 && std::isupper(static_cast<unsigned char>(message[1])) == 0)
    message[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(message[0])));
  return message + ", see \"" + PathOf(command) + " --help\"";
}

}  // namespace

ToolError UsageErrorOf(const CLI::App& tool, const CLI::ParseError& error) {
  const CLI::App& command = Selected(tool);
  Names unknown = command.remaining();
  if (unknown.empty()) unknown = tool.remaining(true);
  return {kUsage, unknown.empty() ? MessageOf(command, error) : Unknown(command, unknown.front())};
}

}  // namespace tools::cli
