// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "qor/commands/commands.h"
#include "qor/doctor/checks.h"
#include "qor/output/check-report.h"

namespace tools::cli {

namespace {

int RunDoctor(bool fix, bool as_json) {
  Checks checks;
  if (CheckRoot(checks)) {
    CheckPackages(checks);
    CheckHandlers(checks);
    CheckAgents(checks);
    CheckSockets(fix, checks);
  }
  if (as_json) {
    json::ValueWriter json;
    WriteChecks(json, checks);
    std::cout << json.Text() << "\n";
  } else {
    for (const Check& check : checks) std::cout << ToText(check);
  }
  return ExitCodeOf(checks);
}

}  // namespace

void AddDoctorCommand(CLI::App& app, SelectedCommand& selected) {
  CLI::App* doctor = app.add_subcommand(
      "doctor", "check the root folder for errors; exit with 1 if there are any");
  doctor->footer(
      "Example:\n"
      "  qor doctor --fix");
  const auto fix = std::make_shared<bool>(false);
  doctor->add_flag("--fix", *fix, "remove unused sockets and lock files");
  doctor->add_flag("--json", selected.json, "print JSON");
  doctor->callback([fix, &selected] {
    selected.run = [fix, &selected] { return RunDoctor(*fix, selected.json); };
  });
}

}  // namespace tools::cli
