// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <random>

#include "qor/protocol/request.h"

namespace tools::cli {
namespace {

// Whether the line is a valid request. Only ProtocolError may be thrown.
bool IsValid(std::string_view line) {
  try {
    ParseRequest(line);
    return true;
  } catch (const ProtocolError& error) {
    EXPECT_STRNE(error.what(), "");
    return false;
  }
}

TEST(ParseRequest, RejectsRandomBytesWithAMessage) {
  std::mt19937 random(4);
  for (int i = 0; i < 20'000; ++i) {
    std::string line(random() % 100, ' ');
    for (char& c : line) c = static_cast<char>(random());
    EXPECT_FALSE(IsValid(line)) << "line " << i;
  }
}

TEST(ParseRequest, RejectsRandomTokensWithAMessage) {
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
                                "\"confirm\"",
                                "\"timeout\"",
                                "\"policy\"",
                                "\"waitForHandler\"",
                                "true",
                                "1e9",
                                "-1",
                                "100",
                                "\"at-least-once\"",
                                "null",
                                "\"grant\"",
                                "\"negotiation\"",
                                "\"handlers\""};
  int valid_count = 0;
  for (int i = 0; i < 50'000; ++i) {
    std::string line = "{" + pieces[random() % std::size(pieces)] + ":";
    for (auto count = random() % 8; count > 0; --count)
      line += pieces[random() % std::size(pieces)];
    valid_count += IsValid(line + "}") ? 1 : 0;
  }
  EXPECT_GT(valid_count, 0) << "the random lines are too different from valid ones";
}

TEST(ParseRequest, RejectsEveryTruncation) {
  const std::string line =
      R"({"type":"text.echo","payload":{"a":[1,2.5,"\u00e4",null]},"uuid":"mine"})";
  ASSERT_TRUE(IsValid(line));
  for (std::size_t size = 0; size < line.size(); ++size)
    EXPECT_FALSE(IsValid(line.substr(0, size))) << line.substr(0, size);
}

TEST(ParseRequest, ReadsTheMembersOfACommand) {
  const auto plain = std::get<CommandRequest>(ParseRequest(R"({"type":"t"})"));
  EXPECT_EQ(plain.timeout, std::chrono::minutes(1));
  EXPECT_EQ(plain.policy, QOR_AGENT_AT_MOST_ONCE);
  EXPECT_FALSE(plain.waits_for_handler);
  const auto full = std::get<CommandRequest>(ParseRequest(
      R"({"type":"t","timeout":1500,"policy":"at-least-once","waitForHandler":true})"));
  EXPECT_EQ(full.timeout, std::chrono::milliseconds(1500));
  EXPECT_EQ(full.policy, QOR_AGENT_AT_LEAST_ONCE);
  EXPECT_TRUE(full.waits_for_handler);
}

TEST(ParseRequest, KeepsEveryDigitOfThePayload) {
  const std::string payload = R"([0e40,-0.0,12345678901234567890123,0.1000,{"a":1E-400},9e308])";
  const Request line = ParseRequest(R"({"payload": )" + payload + R"(, "type":"t","uuid":"u"})");
  EXPECT_EQ(std::get<CommandRequest>(line).payload, payload);
}

}  // namespace
}  // namespace tools::cli
