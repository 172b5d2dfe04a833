// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "text/utf8.h"

namespace text {

Character ReadCharacter(std::string_view bytes) {
  const auto lead = static_cast<unsigned char>(bytes[0]);
  if (lead < 0x80) return {lead, 1, true};
  const Character invalid{lead, 1, false};
  if (lead < 0xC2 || lead > 0xF4) return invalid;
  const std::size_t size = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (bytes.size() < size) return invalid;
  char32_t code = lead & (0x7Fu >> size);
  for (std::size_t i = 1; i < size; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if ((byte & 0xC0u) != 0x80) return invalid;
    code = code << 6 | (byte & 0x3Fu);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kSmallest[size] || is_surrogate || code > 0x10FFFF) return invalid;
  return {code, size, true};
}

std::string ValidUtf8(std::string_view bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size();) {
    const Character character = ReadCharacter(bytes.substr(at));
    text += character.is_valid ? bytes.substr(at, character.size) : "\xEF\xBF\xBD";
    at += character.size;
  }
  return text;
}

bool IsValidUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const Character character = ReadCharacter(bytes);
    if (!character.is_valid) return false;
    bytes.remove_prefix(character.size);
  }
  return true;
}

}  // namespace text
