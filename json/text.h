// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef JSON_TEXT_H_
#define JSON_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

#include "json/value-writer.h"

namespace json {

// Nesting depth of arrays and objects in accepted JSON.
inline constexpr int kMaxDepth = 1000;

// Lines and columns count from 1, columns in characters.
struct SyntaxError {
  int line;
  int column;
  std::string message;
};

// Returns the first error in a text that should be one JSON value. Returns nothing for valid JSON
// in UTF-8 of at most kMaxDepth levels.
std::optional<SyntaxError> FindSyntaxError(std::string_view text);

// Removes white space between the tokens of valid JSON, so that the result is one line.
std::string Compact(std::string_view json);

// Writes a text that is expected to be JSON: an array, object, number or literal as that value,
// anything else as a string with the text. A JSON string becomes a string that contains the quotes,
// so that readers find the original text in every string (invalid bytes become U+FFFD).
void WriteJsonOrString(ValueWriter& json, std::string_view text);

}  // namespace json

#endif
