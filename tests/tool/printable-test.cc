// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "text/printable.h"

#include <gtest/gtest.h>

#include "text/utf8.h"

namespace text {
namespace {

TEST(Printable, KeepsPlainText) {
  for (const char* plain :
       {"", "text.upper", "\\n \"quoted\" ~", "\u00e4\u20ac\U0001f600", "\u00a0"}) {
    EXPECT_TRUE(IsPrintable(plain)) << plain;
    EXPECT_EQ(Printable(plain), plain);
  }
}

TEST(Printable, EscapesControlCharacters) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\033[2Jb", "a\\x1b[2Jb"},
      {"\a\b\x7f", "\\x07\\x08\\x7f"},
      {"a\nb\r\tc", "a\\nb\\r\\tc"},
      {std::string("\0", 1), "\\x00"},
      {"\u009b31m\u0085", "\\u009b31m\\u0085"},
      {"\x9b"
       "31m",
       "\\x9b31m"},
      {"\u202e\u2066\u2069\u200f\u061c", "\\u202e\\u2066\\u2069\\u200f\\u061c"},
      {"\u2028\u2029", "\\u2028\\u2029"},
      {"\xC3\xA4\xC3", "\xC3\xA4\\xc3"},
  };
  for (const auto& [foreign, shown] : cases) {
    EXPECT_FALSE(IsPrintable(foreign)) << shown;
    EXPECT_EQ(Printable(foreign), shown);
  }
}

TEST(Printable, EscapesInvalidUtf8) {
  // Continuation byte alone, overlong encodings, surrogate, beyond Unicode, truncated character.
  for (const char* invalid : {"\x80", "\xC0\xAF", "\xE0\x80\x8A", "\xED\xA0\x80",
                              "\xF4\x90\x80\x80", "\xF8", "\xE2\x82", "\xFF"}) {
    EXPECT_FALSE(IsPrintable(invalid));
    const std::string shown = Printable(invalid);
    EXPECT_EQ(shown.size(), 4 * std::string_view(invalid).size()) << shown;
    EXPECT_EQ(shown.find_first_not_of("\\x0123456789abcdef"), std::string::npos) << shown;
  }
}

TEST(Printable, WritesEveryCharacterToABufferUnchanged) {
  for (char32_t code = 1; code < 0x2100; ++code) {
    std::string character;
    if (code < 0x80) {
      character = static_cast<char>(code);
    } else if (code < 0x800) {
      character = {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
    } else {
      character = {static_cast<char>(0xE0 | code >> 12),
                   static_cast<char>(0x80 | (code >> 6 & 0x3F)),
                   static_cast<char>(0x80 | (code & 0x3F))};
    }
    char buffer[8];
    const std::string shown = Printable(character);
    EXPECT_EQ(std::string(buffer, WritePrintable(character, buffer, sizeof buffer)), shown);
    EXPECT_TRUE(IsPrintable(shown)) << static_cast<unsigned>(code);
    EXPECT_EQ(shown == character, IsPrintable(character)) << static_cast<unsigned>(code);
    EXPECT_EQ(ValidUtf8(character), character);
    EXPECT_EQ(WritePrintable(character, buffer, shown.size() - 1), 0u);
  }
}

TEST(Printable, EscapesJsonWithoutChangingItsValue) {
  EXPECT_EQ(PrintableJson("{\n\t\"a\u009b\u202e\": \"\x7f\xff\u00e4\"}"),
            "{\n\t\"a\\u009b\\u202e\": \"\\u007f\ufffd\u00e4\"}");
}

}  // namespace
}  // namespace text
