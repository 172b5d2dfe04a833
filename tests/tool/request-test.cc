// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <random>

#include "qor/protocol/request.h"

namespace tools::cli {
namespace {

// Whether the line means something; any exception but its own ends the test.
bool IsUnderstood(std::string_view line) {
  try {
    ParseRequest(line);
    return true;
  } catch (const ProtocolError& fault) {
    EXPECT_STRNE(fault.what(), "");
    return false;
  }
}

TEST(AgentLinesOfGarbage, AreRefusedInWords) {
  std::mt19937 random(4);
  for (int i = 0; i < 20'000; ++i) {
    std::string line(random() % 100, ' ');
    for (char& c : line) c = static_cast<char>(random());
    EXPECT_FALSE(IsUnderstood(line)) << "line " << i;
  }
}

TEST(AgentLinesOfGarbage, AreRefusedInWordsWhenTheyLookGood) {
  std::mt19937 random(5);
  const std::string pieces[] = {"{",
                                "}",
                                "[",
                                "]",
                                ":",
                                ",",
                                "\"type\"",
                                "\"payload\"",
                                "\"uuid\"",
                                "\"a\"",
                                "\"\"",
                                "\"configuration\"",
                                "true",
                                "1e9",
                                "-1",
                                "\"executionTimeout\"",
                                "null",
                                "\"grant\"",
                                "\"negotiation\"",
                                "\"handlers\""};
  int understood = 0;
  for (int i = 0; i < 50'000; ++i) {
    std::string line = "{" + pieces[random() % std::size(pieces)] + ":";
    for (auto count = random() % 8; count > 0; --count)
      line += pieces[random() % std::size(pieces)];
    understood += IsUnderstood(line + "}") ? 1 : 0;
  }
  EXPECT_GT(understood, 0) << "this looks too little like good lines";
}

TEST(AgentLinesOfGarbage, AreRefusedWhereverTheyAreCutOff) {
  const std::string line =
      R"({"type":"text.echo","payload":{"a":[1,2.5,"\u00e4",null]},"uuid":"mine"})";
  ASSERT_TRUE(IsUnderstood(line));
  for (std::size_t size = 0; size < line.size(); ++size)
    EXPECT_FALSE(IsUnderstood(line.substr(0, size))) << line.substr(0, size);
}

TEST(AgentLinesWithNumbers, KeepEveryDigitOfThePayload) {
  const std::string payload = R"([0e40,-0.0,12345678901234567890123,0.1000,{"a":1E-400},9e308])";
  const Request line = ParseRequest(R"({"payload": )" + payload + R"(, "type":"t","uuid":"u"})");
  EXPECT_EQ(std::get<CommandRequest>(line).payload, payload);
}

}  // namespace
}  // namespace tools::cli
