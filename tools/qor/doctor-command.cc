// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

#include "colour.h"
#include "commands.h"
#include "doctor-checks.h"
#include "exit-codes.h"
#include "json-writer.h"

namespace qor {

namespace {

const char* NameOf(Check::Level level) {
  switch (level) {
    case Check::Level::kPass:
      return "pass";
    case Check::Level::kWarn:
      return "warn";
    default:
      return "fail";
  }
}

std::string Coloured(Check::Level level) {
  const Colour colour;
  switch (level) {
    case Check::Level::kPass:
      return colour.Green(NameOf(level));
    case Check::Level::kWarn:
      return colour.Yellow(NameOf(level));
    default:
      return colour.Red(NameOf(level));
  }
}

void PrintText(const Checks& checks) {
  for (const Check& check : checks) {
    std::cout << Coloured(check.level) << "  " << check.message << "\n";
    if (!check.cure.empty()) std::cout << "      " << check.cure << "\n";
  }
}

void PrintJson(const Checks& checks) {
  JsonWriter json;
  json.BeginArray();
  for (const Check& check : checks) {
    json.BeginObject().Member("level", NameOf(check.level)).Member("message", check.message);
    if (!check.cure.empty()) json.Member("cure", check.cure);
    json.EndObject();
  }
  std::cout << json.EndArray().Text() << "\n";
}

int RunDoctor(bool fix, bool as_json) {
  Checks checks;
  if (CheckRoot(checks)) {
    CheckPackages(checks);
    CheckHandlers(checks);
    CheckAgents(checks);
    CheckSockets(fix, checks);
  }
  as_json ? PrintJson(checks) : PrintText(checks);
  const bool failed = std::any_of(checks.begin(), checks.end(), [](const Check& check) {
    return check.level == Check::Level::kFail;
  });
  return failed ? kError : kSuccess;
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Choice& choice) {
  CLI::App* doctor = app.add_subcommand(
      "doctor", "Look for what is wrong below the root folder; exits with 1 when something is");
  doctor->footer(
      "Example:\n"
      "  qor doctor --fix");
  const auto fix = std::make_shared<bool>(false);
  doctor->add_flag("--fix", *fix, "Remove sockets and lock files that nobody uses");
  doctor->add_flag("--json", choice.json, "Print JSON");
  doctor->callback(
      [fix, &choice] { choice.run = [fix, &choice] { return RunDoctor(*fix, choice.json); }; });
}

}  // namespace qor
