// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "json-text.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

std::string PlaceOf(std::string_view text) {
  const auto fault = FindJsonFault(text);
  return fault ? std::to_string(fault->line) + ":" + std::to_string(fault->column) : "";
}

std::string Written(std::string_view text) {
  JsonWriter json;
  WriteJsonOrText(json, text);
  return json.Text();
}

TEST(JsonText, FindsNoFaultInSoundJson) {
  for (const char* text : {"{}", " [1, -2.5e3, \"\\u00e4\", null] \n", "true", "\"\xC3\xA4\"", "0"})
    EXPECT_EQ(PlaceOf(text), "") << text;
}

TEST(JsonText, NamesLineAndColumnOfAFault) {
  EXPECT_EQ(PlaceOf(""), "1:1");
  EXPECT_EQ(PlaceOf("nonsense"), "1:2");
  EXPECT_EQ(PlaceOf("{} {}"), "1:4");
  EXPECT_EQ(PlaceOf("{\n  \"a\": 1,\n  b}"), "3:3");
  EXPECT_EQ(PlaceOf("[\"\xC3\xA4\xC3\xB6\", x]"), "1:8");
  EXPECT_EQ(PlaceOf(std::string_view("[\n]\0", 4)), "2:2");
  EXPECT_NE(PlaceOf("\"\xC3\""), "");
}

TEST(JsonText, AllowsAThousandLevels) {
  const std::string open(kMostJsonLevels, '[');
  EXPECT_EQ(PlaceOf(open + std::string(kMostJsonLevels, ']')), "");
  EXPECT_EQ(PlaceOf("[" + open + std::string(kMostJsonLevels + 1, ']')), "1:1001");
  std::string side_by_side = "[[]";
  for (int i = 0; i < kMostJsonLevels; ++i) side_by_side += ",[],{}";
  EXPECT_EQ(PlaceOf(side_by_side + "]"), "");
}

TEST(JsonText, IsCompactedOutsideItsStrings) {
  EXPECT_EQ(Compact(" { \"a b\" :\t[ 1 ,\r\n \" \\\" \\\\\" , 2 ] } "),
            "{\"a b\":[1,\" \\\" \\\\\",2]}");
}

TEST(JsonText, IsWrittenAsTheValueItIs) {
  EXPECT_EQ(Written("{\"a\":\n12345678901234567890123}"), "{\"a\":12345678901234567890123}");
  EXPECT_EQ(Written(" null "), "null");
}

TEST(JsonText, IsWrittenAsAStringWhenItIsOneOrNoJson) {
  EXPECT_EQ(Written("hello"), "\"hello\"");
  EXPECT_EQ(Written("\"hello\""), "\"\\\"hello\\\"\"");
  EXPECT_EQ(Written(""), "\"\"");
}

TEST(JsonText, IsAlwaysWrittenAsUtf8) {
  EXPECT_EQ(Written("a\xFFz\xC3\xA4\xC3"), "\"a\xEF\xBF\xBDz\xC3\xA4\xEF\xBF\xBD\"");
  EXPECT_EQ(Written("\xC3z"), "\"\xEF\xBF\xBDz\"");
}

}  // namespace
}  // namespace qor
