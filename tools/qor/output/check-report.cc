// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/check-report.h"

#include <algorithm>

#include "qor/output/colour.h"
#include "qor/output/finding-json.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

using check::Check;

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

}  // namespace

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

std::string ToText(const Check& check) {
  std::string result = Coloured(check.level) + "  ";
  if (!check.name.empty()) result += text::Printable(check.name) + ": ";
  result += inspect::ToText({check.message, check.hint, check.location}) + "\n";
  if (!check.hint.empty()) result += "      " + text::Printable(check.hint) + "\n";
  return result;
}

void WriteChecks(json::ValueWriter& json, const check::Checks& checks) {
  json.BeginArray();
  for (const Check& check : checks) {
    json.BeginObject();
    if (!check.name.empty()) json.Member("name", check.name);
    json.Member("level", NameOf(check.level));
    WriteMembers(json, {check.message, check.hint, check.location});
    json.EndObject();
  }
  json.EndArray();
}

ExitCode ExitCodeOf(const check::Checks& checks) {
  const bool failed = std::any_of(checks.begin(), checks.end(), [](const Check& check) {
    return check.level == Check::Level::kFail;
  });
  return failed ? kError : kSuccess;
}

}  // namespace tools::cli
