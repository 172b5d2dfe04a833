// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// JSON output for random bytes.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <chrono>
#include <cmath>
#include <random>

#include "json/text.h"
#include "qor/agent/command-result.h"
#include "qor/output/finding-json.h"
#include "qor/output/tool-error.h"
#include "support/random-bytes.h"
#include "text/printable.h"
#include "text/utf8.h"

namespace tools::cli {
namespace {

class JsonOutput : public testing::Test {
 protected:
  std::string Bytes() { return support::RandomBytes(random_); }

  static rapidjson::Document Parsed(const std::string& json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size());
    EXPECT_FALSE(document.HasParseError()) << text::Printable(json);
    EXPECT_TRUE(text::IsPrintable(json)) << text::Printable(json);
    return document;
  }

  std::mt19937 random_{1};
};

TEST_F(JsonOutput, KeepsTextsExceptInvalidBytes) {
  for (int i = 0; i < 5'000; ++i) {
    const std::string key = Bytes();
    const std::string value = Bytes();
    json::ValueWriter json;
    json.BeginObject().Member(key, value).EndObject();
    const rapidjson::Document read = Parsed(json.Text());
    ASSERT_TRUE(read.IsObject());
    const auto& member = *read.MemberBegin();
    EXPECT_EQ(std::string(member.name.GetString(), member.name.GetStringLength()),
              text::ValidUtf8(key));
    EXPECT_EQ(std::string(member.value.GetString(), member.value.GetStringLength()),
              text::ValidUtf8(value));
  }
}

TEST_F(JsonOutput, IsValidForOutcomes) {
  for (int i = 0; i < 5'000; ++i) {
    CommandResult result;
    qor::Agent::Outcome& outcome = result.outcome;
    outcome.kind = static_cast<qor_agent_outcome_kind_e>(random_() % 4);
    outcome.reason = static_cast<qor_agent_reason_e>(random_() % 5);
    if (random_() % 5 == 0) result.rejection = QOR_AGENT_ERROR_CONFLICT;
    outcome.uuid = Bytes();
    outcome.type = Bytes();
    outcome.result = Bytes();
    outcome.error = Bytes();
    result.latency = std::chrono::duration<double, std::milli>(i % 2 == 0 ? HUGE_VAL : 1.5);
    json::ValueWriter json;
    WriteMembers(json.BeginObject(), result);
    Parsed(json.EndObject().Text());
    Parsed(ToJson(ToToolError(result)));
    const std::string shown = ToText(ToToolError(result));
    EXPECT_TRUE(text::IsPrintable(shown.substr(0, shown.find('\n'))));
  }
}

TEST_F(JsonOutput, IsValidForErrors) {
  for (int i = 0; i < 2'000; ++i) {
    Parsed(ToJson(ToolError(kError, Bytes(), Bytes(), {Bytes(), 1, Bytes()})));
  }
}

}  // namespace
}  // namespace tools::cli
