// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "text/printable.h"

#include <cstdio>
#include <cstring>

#include "text/utf8.h"

namespace text {

namespace {

// Code points have at most four digits here, but the compiler warns of truncation in a smaller
// buffer.
using Escape = char[12];

bool IsPrintable(const Character& character) {
  const char32_t code = character.code;
  const bool is_control = code < 0x20 || (code >= 0x7F && code <= 0x9F);
  const bool is_separator = code == 0x2028 || code == 0x2029;
  const bool is_bidi = code == 0x061C || code == 0x200E || code == 0x200F ||
                       (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
  return character.is_valid && !is_control && !is_separator && !is_bidi;
}

// Returns the letter of an escape like "\n", or 0.
char EscapeLetter(char32_t code) {
  if (code == '\n') return 'n';
  if (code == '\r') return 'r';
  return code == '\t' ? 't' : '\0';
}

std::size_t WriteEscape(const Character& character, Escape& escape) {
  if (const char letter = EscapeLetter(character.code)) {
    escape[0] = '\\';
    escape[1] = letter;
    return 2;
  }
  const auto code = static_cast<unsigned>(character.code);
  const char* format = character.is_valid && code > 0x7F ? "\\u%04x" : "\\x%02x";
  return static_cast<std::size_t>(std::snprintf(escape, sizeof escape, format, code));
}

// Calls `write` with each character or escape of the result, until it returns false.
template <typename Write>
void ForEachToken(std::string_view untrusted, Write write) {
  for (std::size_t at = 0; at < untrusted.size();) {
    const Character character = ReadCharacter(untrusted.substr(at));
    Escape escape;
    const std::string_view piece = IsPrintable(character)
                                       ? untrusted.substr(at, character.size)
                                       : std::string_view(escape, WriteEscape(character, escape));
    if (!write(piece)) return;
    at += character.size;
  }
}

}  // namespace

bool IsPrintable(std::string_view untrusted) {
  for (std::size_t at = 0; at < untrusted.size();) {
    const Character character = ReadCharacter(untrusted.substr(at));
    if (!IsPrintable(character)) return false;
    at += character.size;
  }
  return true;
}

std::string Printable(std::string_view untrusted) {
  std::string text;
  ForEachToken(untrusted, [&](std::string_view piece) {
    text += piece;
    return true;
  });
  return text;
}

std::size_t WritePrintable(std::string_view untrusted, char* buffer, std::size_t size) {
  std::size_t written = 0;
  ForEachToken(untrusted, [&](std::string_view piece) {
    if (piece.size() > size - written) return false;
    std::memcpy(buffer + written, piece.data(), piece.size());
    written += piece.size();
    return true;
  });
  return written;
}

std::string PrintableJson(std::string_view json) {
  std::string text;
  std::size_t copied = 0;
  for (std::size_t at = 0; at < json.size();) {
    const Character character = ReadCharacter(json.substr(at));
    // Valid JSON has characters below 0x20 only as white space between values.
    if (character.code >= 0x20 && !IsPrintable(character)) {
      Escape escape = "\xEF\xBF\xBD";
      if (character.is_valid) {
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character.code));
      }
      text.append(json, copied, at - copied).append(escape);
      copied = at + character.size;
    }
    at += character.size;
  }
  return text.append(json, copied);
}

}  // namespace text
