// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_FINDING_JSON_H_
#define QOR_TOOLS_QOR_FINDING_JSON_H_

#include <vector>

#include "inspect/finding.h"
#include "json-writer.h"

namespace qor {

// "message", and "file", "line", "key" and "cure" where they are known, into an open object.
inline void WriteMembers(JsonWriter& json, const inspect::Finding& finding) {
  json.Member("message", finding.message);
  if (!finding.place.file.empty()) json.Member("file", finding.place.file);
  if (finding.place.line > 0) json.Member("line", finding.place.line);
  if (!finding.place.key.empty()) json.Member("key", finding.place.key);
  if (!finding.cure.empty()) json.Member("cure", finding.cure);
}

// An array of such objects.
inline void WriteFindings(JsonWriter& json, const std::vector<inspect::Finding>& findings) {
  json.BeginArray();
  for (const auto& finding : findings) {
    json.BeginObject();
    WriteMembers(json, finding);
    json.EndObject();
  }
  json.EndArray();
}

template <typename Texts>
void WriteTexts(JsonWriter& json, const Texts& texts) {
  json.BeginArray();
  for (const auto& text : texts) json.Value(text);
  json.EndArray();
}

}  // namespace qor

#endif
