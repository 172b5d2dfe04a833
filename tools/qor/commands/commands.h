// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_COMMANDS_H_
#define QOR_TOOLS_QOR_COMMANDS_COMMANDS_H_

#include <functional>

namespace CLI {
class App;
}

namespace tools::cli {

// The command that the command line selects.
struct SelectedCommand {
  // Returns the exit status. Throws ToolError.
  std::function<int()> run;
  // Print data and errors as JSON.
  bool json = false;
};

// Each adds a subcommand to the command line. Parsing that subcommand sets `selected`.
void AddNewCommand(CLI::App& app, SelectedCommand& selected);
void AddPackageCommand(CLI::App& app, SelectedCommand& selected);
void AddCheckCommand(CLI::App& app, SelectedCommand& selected);
void AddDoctorCommand(CLI::App& app, SelectedCommand& selected);
void AddExplainCommand(CLI::App& app, SelectedCommand& selected);
void AddHandlersCommand(CLI::App& app, SelectedCommand& selected);
void AddLogsCommand(CLI::App& app, SelectedCommand& selected);
void AddSendCommand(CLI::App& app, SelectedCommand& selected);
void AddAgentCommand(CLI::App& app, SelectedCommand& selected);
void AddProbeCommand(CLI::App& app, SelectedCommand& selected);
void AddRecordCommand(CLI::App& app, SelectedCommand& selected);
// Generated from all subcommands of `app`.
void AddCompletionCommand(CLI::App& app, SelectedCommand& selected);
void AddManCommand(CLI::App& app, SelectedCommand& selected);

}  // namespace tools::cli

#endif
