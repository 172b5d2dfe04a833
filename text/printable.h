// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TEXT_PRINTABLE_H_
#define TEXT_PRINTABLE_H_

#include <cstddef>
#include <string>
#include <string_view>

// Text that others wrote, for people. Control characters would act on a terminal, line ends forge
// lines, and bidirectional controls show text in another order than it has.

namespace text {

// Whether `foreign` is valid UTF-8 without control characters (C0, DEL, C1), line and paragraph
// separators and bidirectional controls.
bool IsPrintable(std::string_view foreign);

// Returns `foreign` with everything else escaped: \n, \r and \t; \x1b for other controls of ASCII
// and invalid bytes; \u202e for the rest. Backslashes stay, so that the result is only for reading.
std::string Printable(std::string_view foreign);

// Writes the same to `to`, at most `size` bytes and no part of an escape. Allocates nothing.
// Returns the number of bytes written.
std::size_t WritePrintable(std::string_view foreign, char* to, std::size_t size);

// Returns JSON that is the same value, valid UTF-8 and safe on a terminal: such characters of
// `json` become \u escapes, invalid bytes U+FFFD. `json` must be JSON but for bytes in its strings.
std::string PrintableJson(std::string_view json);

}  // namespace text

#endif
