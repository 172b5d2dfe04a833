// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rapidjson/document.h>

#include <map>
#include <set>

#include "lines.h"
#include "record/writers.h"

namespace tools::record {
namespace {

const std::string kLines = Line(0, "start", R"(,"program":"agent","wall":1700000000000000)") +
                           Connected(5, "h") + Sent(10, "u", "one") + Routed(10, "u", "h") +
                           Delivered(12, "u", "h") + Extended(13, "u", 2.5, true) +
                           Sent(14, "v", "two") + Routed(14, "v", "h") + Delivered(15, "v", "h") +
                           Answered(20, "u", "h") + TimedOut(30, "v", "execution") +
                           Answered(40, "v", "h") + Exited(41, "h", 3) + Sent(41, "w", "three") +
                           Refused(42, "w", -22) + Line(50, "end");

class Trace : public testing::Test {
 protected:
  void SetUp() override {
    document_.Parse(Written(WriteTrace, RecordOf(kLines)).c_str());
    ASSERT_FALSE(document_.HasParseError());
    ASSERT_TRUE(document_["traceEvents"].IsArray());
  }

  // The events of a phase, by name.
  std::multimap<std::string, const rapidjson::Value*> Find(const std::string& phase) const {
    std::multimap<std::string, const rapidjson::Value*> found;
    for (const auto& event : document_["traceEvents"].GetArray()) {
      if (event["ph"].GetString() == phase) found.emplace(event["name"].GetString(), &event);
    }
    return found;
  }

  rapidjson::Document document_;
};

TEST_F(Trace, HasTheMembersRequiredByViewers) {
  for (const auto& event : document_["traceEvents"].GetArray()) {
    EXPECT_TRUE(event["ph"].IsString());
    EXPECT_TRUE(event["name"].IsString());
    EXPECT_TRUE(event["pid"].IsInt());
    EXPECT_TRUE(event["tid"].IsInt());
    if (event["ph"] == "M") continue;
    EXPECT_TRUE(event["cat"].IsString());
    EXPECT_TRUE(event["ts"].IsInt64());
  }
}

TEST_F(Trace, EndsEveryAsynchronousEvent) {
  std::map<std::string, std::int64_t> open;
  for (const auto& event : document_["traceEvents"].GetArray()) {
    const std::string phase = event["ph"].GetString();
    if (phase != "b" && phase != "e") continue;
    const std::string key = std::string(event["id"].GetString()) + event["name"].GetString();
    if (phase == "b") {
      EXPECT_TRUE(open.emplace(key, event["ts"].GetInt64()).second) << key;
    } else {
      ASSERT_EQ(open.count(key), 1u) << key;
      EXPECT_LE(open[key], event["ts"].GetInt64()) << key;
      open.erase(key);
    }
  }
  EXPECT_TRUE(open.empty());
}

TEST_F(Trace, ShowsCommandsWithTheirPhasesExtensionsAndLateResults) {
  const auto begun = Find("b");
  ASSERT_EQ(begun.count("one"), 1u);
  const auto& command = *begun.find("one")->second;
  EXPECT_EQ(command["ts"].GetInt64(), 10);
  EXPECT_STREQ(command["args"]["uuid"].GetString(), "u");
  EXPECT_STREQ(command["args"]["outcome"].GetString(), "success");
  EXPECT_EQ(begun.count("executing"), 2u);
  EXPECT_EQ(Find("n").count("extension granted"), 1u);
  EXPECT_EQ(Find("n").count("delivered"), 2u);
  const auto instants = Find("i");
  ASSERT_EQ(instants.count("late result of two"), 1u);
  EXPECT_EQ((*instants.find("late result of two")->second)["ts"].GetInt64(), 40);
}

TEST_F(Trace, ShowsExitsOfHandlers) {
  const auto instants = Find("i");
  ASSERT_EQ(instants.count("handler exited with status 3"), 1u);
  const auto& exit = *instants.find("handler exited with status 3")->second;
  EXPECT_EQ(exit["ts"].GetInt64(), 41);
  EXPECT_EQ(exit["args"]["process"].GetInt64(), 7);
  EXPECT_EQ(exit["args"]["status"].GetInt64(), 3);
}

TEST_F(Trace, GivesEachHandlerANamedThread) {
  std::map<int, std::string> names;
  for (const auto& [name, event] : Find("M")) {
    if (name == "thread_name")
      names[(*event)["tid"].GetInt()] = (*event)["args"]["name"].GetString();
  }
  const auto begun = Find("b");
  EXPECT_EQ(names[(*begun.find("one")->second)["tid"].GetInt()], "h");
  EXPECT_EQ(names[(*begun.find("three")->second)["tid"].GetInt()], "no handler");
  const auto& connection = *Find("X").begin()->second;
  EXPECT_EQ(names[connection["tid"].GetInt()], "h");
  EXPECT_EQ(connection["dur"].GetInt64(), 45);
  EXPECT_EQ(Find("M").count("process_name"), 1u);
}

}  // namespace
}  // namespace tools::record
