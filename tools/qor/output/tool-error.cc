// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/tool-error.h"

#include "json/value-writer.h"
#include "qor/output/finding-json.h"
#include "text/printable.h"

namespace tools::cli {

std::string ToText(const ToolError& error) {
  const inspect::Finding& finding = error.Finding();
  std::string result = "qor: " + inspect::ToText(finding) + "\n";
  if (!finding.hint.empty()) result += "  " + text::Printable(finding.hint) + "\n";
  return result;
}

std::string ToJson(const ToolError& error) {
  json::ValueWriter json;
  json.BeginObject().Key("error").BeginObject();
  WriteMembers(json, error.Finding());
  json.Member("exitCode", static_cast<int>(error.Code())).EndObject().EndObject();
  return json.Text();
}

}  // namespace tools::cli
