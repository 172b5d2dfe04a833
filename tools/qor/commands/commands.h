// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_COMMANDS_H_
#define QOR_TOOLS_QOR_COMMANDS_COMMANDS_H_

#include <functional>

namespace CLI {
class App;
}

namespace tools::cli {

// What the command line chose.
struct Choice {
  // Does it and returns the exit status. Throws ToolError.
  std::function<int()> run;
  // Data and failures are printed as JSON.
  bool json = false;
};

// Each adds its subcommand to the command line and, when that was chosen, stores what it does in
// `choice`.
void AddPackageCommand(CLI::App& app, Choice& choice);
void AddCheckCommand(CLI::App& app, Choice& choice);
void AddDoctorCommand(CLI::App& app, Choice& choice);
void AddExplainCommand(CLI::App& app, Choice& choice);
void AddHandlersCommand(CLI::App& app, Choice& choice);
void AddSendCommand(CLI::App& app, Choice& choice);
void AddAgentCommand(CLI::App& app, Choice& choice);
void AddRecordCommand(CLI::App& app, Choice& choice);
// Hidden: made from the whole command line, however it looks in the end.
void AddCompletionCommand(CLI::App& app, Choice& choice);
void AddManCommand(CLI::App& app, Choice& choice);

}  // namespace tools::cli

#endif
