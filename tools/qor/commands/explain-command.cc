// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>

#include "inspect/explanation.h"
#include "qor/commands/commands.h"
#include "qor/logs/last-end.h"
#include "qor/output/colour.h"
#include "qor/output/finding-json.h"
#include "qor/output/tool-error.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

using inspect::Explanation;

std::string RankReason(const Explanation& explanation, std::size_t position) {
  const auto& priority = explanation.candidates[position].priority;
  if (position == 0) {
    return explanation.candidates.size() == 1 ? "only candidate" : "first candidate";
  }
  const auto& previous = explanation.candidates[position - 1];
  return "after " + previous.record.id +
         (previous.priority.Value() == priority.Value() ? ": same priority, smaller id"
                                                        : ": higher priority");
}

std::string ProblemText(const inspect::Finding& finding) {
  return inspect::ToText(finding) + "\n     " + text::Printable(finding.hint) + "\n";
}

void PrintText(const std::string& type, const Explanation& explanation) {
  const Colour colour;
  if (explanation.candidates.empty()) {
    std::cout << colour.Red("no handler serves " + text::Printable(type)) << "\n";
  } else {
    std::cout << text::Printable(type) << " is served by "
              << colour.Bold(text::Printable(explanation.candidates.front().record.id)) << "\n";
  }
  for (std::size_t i = 0; i < explanation.candidates.size(); ++i) {
    const auto& candidate = explanation.candidates[i];
    std::cout << "\n" << i + 1 << ". " << text::Printable(candidate.record.id) << "\n";
    std::cout << "   package: " << text::Printable(candidate.record.package_id) << "\n";
    std::cout << "   priority " << candidate.priority.Value() << ": "
              << text::Printable(candidate.priority.Reason()) << "\n";
    std::cout << "   " << text::Printable(RankReason(explanation, i)) << "\n";
    if (const auto end = FindLastFailure(candidate.record.id))
      std::cout << "   last process: " << DescribeWithAge(*end) << "\n";
    for (const auto& problem : candidate.Problems()) {
      std::cout << "   " << colour.Yellow("problem: ") << ProblemText(problem);
    }
  }
  if (!explanation.excluded.empty()) std::cout << "\nexcluded:\n";
  for (const auto& excluded : explanation.excluded) {
    std::cout << "\n-  " << text::Printable(excluded.application.record.id) << "\n   "
              << ProblemText(excluded.reason);
  }
}

void PrintJson(const std::string& type, const Explanation& explanation) {
  json::ValueWriter json;
  json.BeginObject().Member("type", type).Key("servedBy");
  if (explanation.candidates.empty()) {
    json.Null();
  } else {
    json.Value(explanation.candidates.front().record.id);
  }
  json.Key("candidates").BeginArray();
  for (std::size_t i = 0; i < explanation.candidates.size(); ++i) {
    const auto& candidate = explanation.candidates[i];
    json.BeginObject().Member("appId", candidate.record.id);
    json.Member("package", candidate.record.package_id);
    json.Member("priority", candidate.priority.Value());
    json.Member("priorityReason", candidate.priority.Reason());
    json.Member("reason", RankReason(explanation, i));
    if (const auto end = FindLastFailure(candidate.record.id))
      json.Member("lastProcess", DescribeWithAge(*end));
    WriteFindings(json.Key("problems"), candidate.Problems());
    json.EndObject();
  }
  json.EndArray().Key("excluded").BeginArray();
  for (const auto& excluded : explanation.excluded) {
    json.BeginObject().Member("appId", excluded.application.record.id);
    json.Member("package", excluded.application.record.package_id);
    WriteMembers(json, excluded.reason);
    json.EndObject();
  }
  std::cout << json.EndArray().EndObject().Text() << "\n";
}

std::vector<inspect::Package> InstalledPackages() {
  try {
    return inspect::InspectInstalledPackages();
  } catch (const platform::DatabaseError& error) {
    throw ToolError(
        kError, std::string(error.what()) + ": the library has no handlers when one look-up fails",
        "run \"qor doctor\"");
  }
}

int RunExplain(const std::string& type, bool as_json) {
  const Explanation explanation = inspect::Explain(InstalledPackages(), type);
  as_json ? PrintJson(type, explanation) : PrintText(type, explanation);
  return explanation.candidates.empty() ? kNoHandler : kSuccess;
}

}  // namespace

void AddExplainCommand(CLI::App& app, SelectedCommand& selected) {
  CLI::App* explain =
      app.add_subcommand("explain", "show which handler serves a request type, and why");
  explain->footer(
      "Example:\n"
      "  qor explain text.upper");
  const auto type = std::make_shared<std::string>();
  explain->add_option("TYPE", *type, "request type")->required();
  explain->add_flag("--json", selected.json, "print JSON");
  explain->callback([type, &selected] {
    selected.run = [type, &selected] { return RunExplain(*type, selected.json); };
  });
}

}  // namespace tools::cli
