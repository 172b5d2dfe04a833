// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The JSON formats of records, for events with random bytes in every member.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cmath>
#include <random>
#include <sstream>

#include "lines.h"
#include "record/writers.h"
#include "support/random-bytes.h"
#include "text/printable.h"

namespace tools::record {
namespace {

class JsonFormats : public testing::Test {
 protected:
  Record RandomRecord() {
    const std::string uuids[] = {Bytes(), Bytes()};
    const std::string handlers[] = {Bytes(), Bytes()};
    std::vector<Event> events;
    for (int i = 0; i < 30; ++i) {
      Event event;
      event.kind = static_cast<EventKind>(random_() % (static_cast<unsigned>(EventKind::kEnd) + 1));
      event.time = i;
      for (const Member& member : MembersOf(event.kind)) {
        if (const auto* text = std::get_if<std::string Event::*>(&member.field)) {
          event.*(*text) = Bytes();
        }
      }
      event.uuid = uuids[random_() % 2];
      event.handler = handlers[random_() % 2];
      event.seconds = random_() % 2 == 0 ? HUGE_VAL : 1.5;
      events.push_back(event);
    }
    return MakeRecord(std::move(events));
  }
  std::string Bytes() { return support::RandomBytes(random_); }

  static void ExpectJson(const std::string& json) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size());
    EXPECT_FALSE(document.HasParseError()) << text::Printable(json);
    EXPECT_TRUE(text::IsPrintable(json)) << text::Printable(json);
  }

  std::mt19937 random_{1};
};

TEST_F(JsonFormats, AreValidForRandomRecords) {
  for (int i = 0; i < 200; ++i) {
    const Record record = RandomRecord();
    std::istringstream lines(Written(WriteJson, record));
    for (std::string line; std::getline(lines, line);) ExpectJson(line);

    std::string trace = Written(WriteTrace, record);
    trace.pop_back();
    ExpectJson(trace);

    const std::string page = Written(WriteHtml, record);
    constexpr std::string_view kBegin = "id=\"record\">";
    const auto begin = page.find(kBegin);
    ASSERT_NE(begin, std::string::npos);
    const auto from = begin + kBegin.size();
    ExpectJson(page.substr(from, page.find("</script>", from) - from));

    std::istringstream shown(Written(WriteText, record));
    for (std::string line; std::getline(shown, line);) EXPECT_TRUE(text::IsPrintable(line)) << line;
  }
}

}  // namespace
}  // namespace tools::record
