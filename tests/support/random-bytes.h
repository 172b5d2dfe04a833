// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_RANDOM_BYTES_H_
#define TESTS_SUPPORT_RANDOM_BYTES_H_

#include <iterator>
#include <random>
#include <string>

namespace support {

// Returns up to twelve tokens: random bytes and sequences that are special in JSON, UTF-8 or
// terminals.
inline std::string RandomBytes(std::mt19937& random) {
  static const std::string kTokens[] = {"\"",       "\\",     "{",          "}",
                                        "[",        "1e9",    "\\ud800",    "null",
                                        "\n",       " ",      "\x1b",       "\xE2",
                                        "\x80",     "\xAE",   "\xC2\x9B",   "\xED\xA0\x80",
                                        "\x7f",     "\u2028", "\U0001f600", std::string(1, '\0'),
                                        "</script>"};
  std::string bytes;
  for (auto left = random() % 12; left > 0; --left) {
    if (random() % 4 == 0) {
      bytes += static_cast<char>(random());
    } else {
      bytes += kTokens[random() % std::size(kTokens)];
    }
  }
  return bytes;
}

}  // namespace support

#endif
