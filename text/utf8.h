// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TEXT_UTF8_H_
#define TEXT_UTF8_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

struct Character {
  // The code point, or the value of an invalid byte.
  char32_t code;
  // Size in bytes.
  std::size_t size;
  bool is_valid;
};

// Decodes the first character of `bytes`, which must not be empty. If no valid character begins
// there, returns the first byte alone as invalid.
Character ReadCharacter(std::string_view bytes);

// Replaces each invalid byte by U+FFFD.
std::string ValidUtf8(std::string_view bytes);

bool IsValidUtf8(std::string_view bytes);

}  // namespace text

#endif
