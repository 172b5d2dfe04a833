// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TEXT_UTF8_H_
#define TEXT_UTF8_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

struct Character {
  // The code point; for an invalid byte its value.
  char32_t code;
  // In bytes.
  std::size_t size;
  bool is_valid;
};

// Reads the first character of `bytes`, which must not be empty. A byte that begins no character is
// invalid, alone.
Character ReadCharacter(std::string_view bytes);

// Returns `bytes` with U+FFFD for each invalid byte.
std::string ValidUtf8(std::string_view bytes);

}  // namespace text

#endif
