// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "qor/commands/commands.h"
#include "qor/output/exit-codes.h"
#include "qor/output/tool-error.h"

namespace {

int Report(const tools::cli::ToolError& error, bool as_json) {
  std::cerr << (as_json ? tools::cli::ToJson(error) + "\n" : tools::cli::ToText(error));
  return error.Code();
}

std::string Footer() {
  std::string text = "Example:\n  qor send text.upper '\"hello\"'\n\nExit status:";
  for (const auto& entry : tools::cli::kExitCodeMeanings) {
    text += "\n  " + std::to_string(entry.code) + "  " + entry.meaning;
  }
  return text;
}

int Run(int argc, char** argv) {
  CLI::App app("Installs handler packages, lists and explains handlers, sends commands", "qor");
  app.require_subcommand(1);
  app.failure_message(CLI::FailureMessage::help);
  app.footer(Footer());
  tools::cli::Choice choice;
  tools::cli::AddPackageCommand(app, choice);
  tools::cli::AddCheckCommand(app, choice);
  tools::cli::AddDoctorCommand(app, choice);
  tools::cli::AddExplainCommand(app, choice);
  tools::cli::AddHandlersCommand(app, choice);
  tools::cli::AddSendCommand(app, choice);
  tools::cli::AddAgentCommand(app, choice);
  tools::cli::AddRecordCommand(app, choice);
  tools::cli::AddCompletionCommand(app, choice);
  tools::cli::AddManCommand(app, choice);
  try {
    app.parse(argc, argv);
    return choice.run();
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    app.exit(error);
    return tools::cli::kUsage;
  } catch (const tools::cli::ToolError& error) {
    return Report(error, choice.json);
  } catch (const std::exception& error) {
    return Report(tools::cli::ToolError(tools::cli::kError, error.what()), choice.json);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    // Before the words are known, or while a failure is reported: memory is short.
    std::fprintf(stderr, "qor: %s\n", error.what());
    return tools::cli::kError;
  }
}
