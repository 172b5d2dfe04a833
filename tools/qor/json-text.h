// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_JSON_TEXT_H_
#define QOR_TOOLS_QOR_JSON_TEXT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "json-writer.h"

namespace qor {

// Values may stand so deep in each other.
inline constexpr int kMostJsonLevels = 1000;

// The first fault of a text that should be one JSON value. Lines and columns count from 1, columns
// in characters.
struct JsonFault {
  int line;
  int column;
  std::string what;
};
// None for sound JSON in UTF-8 of no more than kMostJsonLevels levels.
std::optional<JsonFault> FindJsonFault(std::string_view text);

// Sound JSON without the white space between its parts, and so on one line.
std::string Compact(std::string_view json);

// Writes a text that ought to be JSON: as the value that it is, or as a string holding the text
// when it is no JSON or a string itself. A string therefore always is the text, letter by letter,
// save that bytes that are no UTF-8 become U+FFFD.
void WriteJsonOrText(JsonWriter& json, std::string_view text);

}  // namespace qor

#endif
