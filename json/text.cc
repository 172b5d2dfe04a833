// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "json/text.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cstddef>

namespace json {

namespace {

// Stops the parser at the first value that is nested too deeply.
class DepthLimiter : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, DepthLimiter> {
 public:
  bool StartObject() { return Begin(); }
  bool EndObject(rapidjson::SizeType) { return End(); }
  bool StartArray() { return Begin(); }
  bool EndArray(rapidjson::SizeType) { return End(); }

 private:
  bool Begin() { return ++depth_ <= kMaxDepth; }
  bool End() {
    --depth_;
    return true;
  }

  int depth_ = 0;
};

SyntaxError ErrorAt(std::string_view text, std::size_t offset, std::string message) {
  const std::string_view before = text.substr(0, offset);
  const auto is_character = [](char byte) { return (byte & 0xC0) != 0x80; };
  const std::size_t line_start = before.rfind('\n') + 1;
  return {static_cast<int>(1 + std::count(before.begin(), before.end(), '\n')),
          static_cast<int>(1 + std::count_if(before.begin() + static_cast<long>(line_start),
                                             before.end(), is_character)),
          std::move(message)};
}

}  // namespace

std::optional<SyntaxError> FindSyntaxError(std::string_view text) {
  // The parser takes a NUL byte for the end of the text.
  const std::size_t nul = text.find('\0');
  rapidjson::MemoryStream stream(text.data(), std::min(nul, text.size()));
  DepthLimiter limiter;
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, Allocator> reader;
  // Iterative: the nesting depth of untrusted input must not determine the depth of the stack.
  const rapidjson::ParseResult result =
      reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream,
                                                                                           limiter);
  if (result.IsError()) {
    const std::string message = result.Code() == rapidjson::kParseErrorTermination
                                    ? "nested deeper than " + std::to_string(kMaxDepth)
                                    : rapidjson::GetParseError_En(result.Code());
    return ErrorAt(text, result.Offset(), message.substr(0, message.find_last_not_of('.') + 1));
  }
  if (nul != std::string_view::npos) return ErrorAt(text, nul, "NUL byte");
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

void WriteJsonOrString(ValueWriter& json, std::string_view text) {
  if (!FindSyntaxError(text)) {
    const std::string value = Compact(text);
    if (value[0] != '"') {
      json.Json(value);
      return;
    }
  }
  json.Value(text);
}

}  // namespace json
