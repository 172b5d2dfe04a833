// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "json/text.h"

#include <gtest/gtest.h>

namespace json {
namespace {

std::string PositionOf(std::string_view text) {
  const auto error = FindSyntaxError(text);
  return error ? std::to_string(error->line) + ":" + std::to_string(error->column) : "";
}

std::string Written(std::string_view text) {
  ValueWriter json;
  WriteJsonOrString(json, text);
  return json.Text();
}

TEST(JsonText, AcceptsValidJson) {
  for (const char* text : {"{}", " [1, -2.5e3, \"\\u00e4\", null] \n", "true", "\"\xC3\xA4\"", "0"})
    EXPECT_EQ(PositionOf(text), "") << text;
}

TEST(JsonText, ReportsLineAndColumnOfASyntaxError) {
  EXPECT_EQ(PositionOf(""), "1:1");
  EXPECT_EQ(PositionOf("nonsense"), "1:2");
  EXPECT_EQ(PositionOf("{} {}"), "1:4");
  EXPECT_EQ(PositionOf("{\n  \"a\": 1,\n  b}"), "3:3");
  EXPECT_EQ(PositionOf("[\"\xC3\xA4\xC3\xB6\", x]"), "1:8");
  EXPECT_EQ(PositionOf(std::string_view("[\n]\0", 4)), "2:2");
  EXPECT_NE(PositionOf("\"\xC3\""), "");
}

TEST(JsonText, RejectsMoreThanAThousandLevels) {
  const std::string open(json::kMaxDepth, '[');
  EXPECT_EQ(PositionOf(open + std::string(json::kMaxDepth, ']')), "");
  EXPECT_EQ(PositionOf("[" + open + std::string(json::kMaxDepth + 1, ']')), "1:1001");
  std::string side_by_side = "[[]";
  for (int i = 0; i < json::kMaxDepth; ++i) side_by_side += ",[],{}";
  EXPECT_EQ(PositionOf(side_by_side + "]"), "");
}

TEST(JsonText, CompactRemovesWhiteSpaceOutsideStrings) {
  EXPECT_EQ(Compact(" { \"a b\" :\t[ 1 ,\r\n \" \\\" \\\\\" , 2 ] } "),
            "{\"a b\":[1,\" \\\" \\\\\",2]}");
}

TEST(JsonText, WritesValuesUnchanged) {
  EXPECT_EQ(Written("{\"a\":\n12345678901234567890123}"), "{\"a\":12345678901234567890123}");
  EXPECT_EQ(Written(" null "), "null");
}

TEST(JsonText, WritesStringsAndInvalidJsonAsString) {
  EXPECT_EQ(Written("hello"), "\"hello\"");
  EXPECT_EQ(Written("\"hello\""), "\"\\\"hello\\\"\"");
  EXPECT_EQ(Written(""), "\"\"");
}

TEST(JsonText, ReplacesInvalidUtf8) {
  EXPECT_EQ(Written("a\xFFz\xC3\xA4\xC3"), "\"a\xEF\xBF\xBDz\xC3\xA4\xEF\xBF\xBD\"");
  EXPECT_EQ(Written("\xC3z"), "\"\xEF\xBF\xBDz\"");
}

}  // namespace
}  // namespace json
