// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_FINDING_JSON_H_
#define QOR_TOOLS_QOR_OUTPUT_FINDING_JSON_H_

#include <vector>

#include "inspect/finding.h"
#include "json/value-writer.h"

namespace tools::cli {

// Adds "message" and, if known, "file", "line", "key" and "hint" to the open object.
inline void WriteMembers(json::ValueWriter& json, const inspect::Finding& finding) {
  json.Member("message", finding.message);
  if (!finding.location.file.empty()) json.Member("file", finding.location.file);
  if (finding.location.line > 0) json.Member("line", finding.location.line);
  if (!finding.location.key.empty()) json.Member("key", finding.location.key);
  if (!finding.hint.empty()) json.Member("hint", finding.hint);
}

// Writes an array of such objects.
inline void WriteFindings(json::ValueWriter& json, const std::vector<inspect::Finding>& findings) {
  json.BeginArray();
  for (const auto& finding : findings) {
    json.BeginObject();
    WriteMembers(json, finding);
    json.EndObject();
  }
  json.EndArray();
}

template <typename Texts>
void WriteTexts(json::ValueWriter& json, const Texts& texts) {
  json.BeginArray();
  for (const auto& text : texts) json.Value(text);
  json.EndArray();
}

}  // namespace tools::cli

#endif
