// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

#include "commands.h"
#include "exit-codes.h"

int main(int argc, char** argv) {
  CLI::App app("Installs handler packages, lists handlers, sends commands.", "qor");
  app.require_subcommand(1);
  app.failure_message(CLI::FailureMessage::help);
  qor::Chosen chosen;
  qor::AddPackageCommand(app, chosen);
  qor::AddHandlersCommand(app, chosen);
  qor::AddSendCommand(app, chosen);
  try {
    app.parse(argc, argv);
    return chosen();
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    app.exit(error);
    return qor::kUsage;
  } catch (const std::exception& error) {
    std::cerr << "qor: " << error.what() << "\n";
    return qor::kError;
  }
}
