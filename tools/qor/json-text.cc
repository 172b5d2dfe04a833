// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "json-text.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>

namespace qor {

namespace {

// Stops the parser where values stand too deep.
class LevelCounter : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, LevelCounter> {
 public:
  bool StartObject() { return Begin(); }
  bool EndObject(rapidjson::SizeType) { return End(); }
  bool StartArray() { return Begin(); }
  bool EndArray(rapidjson::SizeType) { return End(); }

 private:
  bool Begin() { return ++level_ <= kMostJsonLevels; }
  bool End() {
    --level_;
    return true;
  }

  int level_ = 0;
};

JsonFault FaultAt(std::string_view text, std::size_t offset, std::string what) {
  const std::string_view before = text.substr(0, offset);
  const auto is_character = [](char byte) { return (byte & 0xC0) != 0x80; };
  const std::size_t line_start = before.rfind('\n') + 1;
  return {static_cast<int>(1 + std::count(before.begin(), before.end(), '\n')),
          static_cast<int>(1 + std::count_if(before.begin() + static_cast<long>(line_start),
                                             before.end(), is_character)),
          std::move(what)};
}

}  // namespace

std::optional<JsonFault> FindJsonFault(std::string_view text) {
  // The parser would take it for the end.
  const std::size_t nul = text.find('\0');
  rapidjson::MemoryStream stream(text.data(), std::min(nul, text.size()));
  LevelCounter levels;
  rapidjson::Reader reader;
  // Iterative: what comes from outside must not decide how deep the stack gets.
  const rapidjson::ParseResult result =
      reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream,
                                                                                           levels);
  if (result.IsError()) {
    const std::string what = result.Code() == rapidjson::kParseErrorTermination
                                 ? "nested deeper than " + std::to_string(kMostJsonLevels)
                                 : rapidjson::GetParseError_En(result.Code());
    return FaultAt(text, result.Offset(), what.substr(0, what.find_last_not_of('.') + 1));
  }
  if (nul != std::string_view::npos) return FaultAt(text, nul, "A NUL byte");
  return std::nullopt;
}

std::string Compact(std::string_view json) {
  std::string result;
  bool in_string = false;
  bool escaped = false;
  for (const char c : json) {
    if (!in_string && (c == ' ' || c == '\t' || c == '\n' || c == '\r')) continue;
    result += c;
    if (c == '"' && !escaped) in_string = !in_string;
    escaped = in_string && c == '\\' && !escaped;
  }
  return result;
}

void WriteJsonOrText(JsonWriter& json, std::string_view text) {
  if (!FindJsonFault(text)) {
    const std::string value = Compact(text);
    if (value[0] != '"') {
      json.Json(value);
      return;
    }
  }
  json.Value(text);
}

}  // namespace qor
