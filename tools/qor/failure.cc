// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "failure.h"

#include "json-writer.h"

namespace qor {

std::string ToText(const Failure& failure) {
  const Place& place = failure.Where();
  std::string text = "qor: ";
  if (!place.file.empty()) {
    text += place.file + ":";
    if (place.line > 0) text += std::to_string(place.line) + ":";
    text += " ";
  }
  if (!place.key.empty()) text += place.key + ": ";
  text += std::string(failure.what()) + "\n";
  if (!failure.Cure().empty()) text += "  " + failure.Cure() + "\n";
  return text;
}

std::string ToJson(const Failure& failure) {
  const Place& place = failure.Where();
  JsonWriter json;
  json.BeginObject().Key("error").BeginObject().Member("message", failure.what());
  if (!place.file.empty()) json.Member("file", place.file);
  if (place.line > 0) json.Member("line", place.line);
  if (!place.key.empty()) json.Member("key", place.key);
  if (!failure.Cure().empty()) json.Member("cure", failure.Cure());
  json.Member("exitCode", static_cast<int>(failure.Code())).EndObject().EndObject();
  return json.Text();
}

}  // namespace qor
