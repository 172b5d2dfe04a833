// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <cctype>
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
  for (const auto& entry : tools::cli::kExitCodeDescriptions) {
    text += "\n  " + std::to_string(entry.code) + "  " + entry.description;
  }
  return text;
}

int Run(int argc, char** argv) {
  CLI::App app("install handler packages, list handlers, send commands", "qor");
  app.set_help_flag("-h,--help", "print this help and exit");
  app.require_subcommand(1);
  app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
    std::string message = error.what();
    // Not for names of arguments, which are in upper case.
    if (message.size() > 1 && std::isupper(static_cast<unsigned char>(message[1])) == 0) {
      message[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(message[0])));
    }
    return "qor: usage error: " + message + "\n" + failed->help();
  });
  app.footer(Footer());
  tools::cli::SelectedCommand selected;
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
    return selected.run();
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    app.exit(error);
    return tools::cli::kUsage;
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
