// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "commands.h"
#include "exit-codes.h"
#include "failure.h"

namespace {

int Report(const qor::Failure& failure, bool as_json) {
  std::cerr << (as_json ? qor::ToJson(failure) + "\n" : qor::ToText(failure));
  return failure.Code();
}

std::string Footer() {
  std::string text = "Example:\n  qor send text.upper '\"hello\"'\n\nExit status:";
  for (const auto& entry : qor::kExitCodeMeanings) {
    text += "\n  " + std::to_string(entry.code) + "  " + entry.meaning;
  }
  return text;
}

int Run(int argc, char** argv) {
  CLI::App app("Installs handler packages, lists and explains handlers, sends commands", "qor");
  app.require_subcommand(1);
  app.failure_message(CLI::FailureMessage::help);
  app.footer(Footer());
  qor::Choice choice;
  qor::AddPackageCommand(app, choice);
  qor::AddCheckCommand(app, choice);
  qor::AddDoctorCommand(app, choice);
  qor::AddExplainCommand(app, choice);
  qor::AddHandlersCommand(app, choice);
  qor::AddSendCommand(app, choice);
  qor::AddAgentCommand(app, choice);
  qor::AddRecordCommand(app, choice);
  qor::AddCompletionCommand(app, choice);
  qor::AddManCommand(app, choice);
  try {
    app.parse(argc, argv);
    return choice.run();
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    app.exit(error);
    return qor::kUsage;
  } catch (const qor::Failure& failure) {
    return Report(failure, choice.json);
  } catch (const std::exception& error) {
    return Report(qor::Failure(qor::kError, error.what()), choice.json);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    // Before the words are known, or while a failure is reported: memory is short.
    std::fprintf(stderr, "qor: %s\n", error.what());
    return qor::kError;
  }
}
