// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TEXT_PRINTABLE_H_
#define TEXT_PRINTABLE_H_

#include <cstddef>
#include <string>
#include <string_view>

// Untrusted text, made safe for display. Control characters would control the terminal, line ends
// forge lines, and bidirectional controls change the order in which text is shown.

namespace text {

// Returns whether `untrusted` is valid UTF-8 without control characters (C0, DEL, C1), line and
// paragraph separators and bidirectional controls.
bool IsPrintable(std::string_view untrusted);

// Escapes all other characters: as \n, \r and \t; as \x1b other ASCII controls and invalid bytes;
// as \u202e the rest. Backslashes are not escaped, so the result cannot be decoded.
std::string Printable(std::string_view untrusted);

// Writes the result of Printable() to `buffer`, truncated to at most `size` bytes before an escape
// or character. Adds no NUL. Allocates nothing. Returns the number of bytes written.
std::size_t WritePrintable(std::string_view untrusted, char* buffer, std::size_t size);

// Returns the same JSON value as valid UTF-8 that is safe for display: such characters become \u
// escapes, invalid bytes U+FFFD. `json` must be valid JSON, except for invalid bytes in its
// strings.
std::string PrintableJson(std::string_view json);

}  // namespace text

#endif
