// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "failure.h"

#include "finding-json.h"
#include "json-writer.h"
#include "text/printable.h"

namespace qor {

namespace {

inspect::Finding FindingOf(const Failure& failure) {
  return {failure.what(), failure.Cure(), failure.Where()};
}

}  // namespace

std::string ToText(const Failure& failure) {
  std::string result = "qor: " + inspect::ToText(FindingOf(failure)) + "\n";
  if (!failure.Cure().empty()) result += "  " + text::Printable(failure.Cure()) + "\n";
  return result;
}

std::string ToJson(const Failure& failure) {
  JsonWriter json;
  json.BeginObject().Key("error").BeginObject();
  WriteMembers(json, FindingOf(failure));
  json.Member("exitCode", static_cast<int>(failure.Code())).EndObject().EndObject();
  return json.Text();
}

}  // namespace qor
