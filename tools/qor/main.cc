// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

#include "qor/commands/commands.h"
#include "qor/commands/usage-error.h"
#include "qor/output/exit-codes.h"
#include "qor/output/standard-output.h"
#include "qor/output/tool-error.h"

namespace {

// JSON belongs to standard output, so that a script reads one stream. A failure to write there is
// reported as text.
int Report(const tools::cli::ToolError& error, bool as_json) {
  if (as_json && std::cout << tools::cli::ToJson(error) << std::endl) return error.Code();
  std::cerr << tools::cli::ToText(error);
  return error.Code();
}

// Also for arguments that cannot be parsed.
bool WantsJson(int argc, char** argv) {
  const auto end = std::find(argv, argv + argc, std::string_view("--"));
  return std::find(argv, end, std::string_view("--json")) != end;
}

std::string Footer() {
  std::string text = "Example:\n  qor send text.upper '\"hello\"'\n\nExit status:";
  for (const auto& entry : tools::cli::kExitCodeDescriptions) {
    text += "\n  " + std::to_string(entry.code) + "  " + entry.description;
  }
  return text;
}

// Also prints the version.
int PrintHelp(const CLI::App& app, const CLI::Success& help) try {
  app.exit(help);
  tools::cli::FlushStandardOutput();
  return tools::cli::kSuccess;
} catch (const tools::cli::ToolError& error) {
  return Report(error, false);
}

int Run(int argc, char** argv) {
  CLI::App app("install handler packages, list handlers, send commands", "qor");
  app.set_help_flag("-h,--help", "print this help and exit");
  app.require_subcommand(1);
  app.set_version_flag("--version", "qor " QOR_VERSION, "print the version and exit");
  app.footer(Footer());
  tools::cli::SelectedCommand selected;
  tools::cli::AddNewCommand(app, selected);
  tools::cli::AddPackageCommand(app, selected);
  tools::cli::AddCheckCommand(app, selected);
  tools::cli::AddDoctorCommand(app, selected);
  tools::cli::AddExplainCommand(app, selected);
  tools::cli::AddHandlersCommand(app, selected);
  tools::cli::AddLogsCommand(app, selected);
  tools::cli::AddSendCommand(app, selected);
  tools::cli::AddAgentCommand(app, selected);
  tools::cli::AddProbeCommand(app, selected);
  tools::cli::AddRecordCommand(app, selected);
  tools::cli::AddCompletionCommand(app, selected);
  tools::cli::AddManCommand(app, selected);
  try {
    app.parse(argc, argv);
    const int status = selected.run();
    tools::cli::FlushStandardOutput();
    return status;
  } catch (const CLI::Success& help) {
    return PrintHelp(app, help);
  } catch (const CLI::ParseError& error) {
    return Report(tools::cli::UsageErrorOf(app, error), WantsJson(argc, argv));
  } catch (const tools::cli::ToolError& error) {
    return Report(error, selected.json);
  } catch (const std::exception& error) {
    return Report(tools::cli::ToolError(tools::cli::kError, error.what()), selected.json);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    // Out of memory before the arguments are parsed or while an error is reported.
    std::fprintf(stderr, "qor: %s\n", error.what());
    return tools::cli::kError;
  }
}
