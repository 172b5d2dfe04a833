// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "record/event-reader.h"

#include "lines.h"

namespace tools::record {
namespace {

std::string ReasonFor(const std::string& line) {
  const ReadEvents read = Read(line + "\n");
  return read.events.empty() && read.bad_lines.size() == 1 ? read.bad_lines[0].reason : "";
}

TEST(EventReader, ReadsEveryMemberOfALine) {
  const auto events = Read(Extended(12, "u", 2.5, true)).events;
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].kind, EventKind::kExtension);
  EXPECT_EQ(events[0].time, 12);
  EXPECT_EQ(events[0].process, 1);
  EXPECT_EQ(events[0].uuid, "u");
  EXPECT_EQ(events[0].seconds, 2.5);
  EXPECT_TRUE(events[0].granted);
}

TEST(EventReader, IgnoresUnknownMembersAndEmptyLines) {
  const auto read = Read("\n" + Line(1, "end", R"(,"color":"blue")") + "  \r\n");
  EXPECT_EQ(read.events.size(), 1u);
  EXPECT_TRUE(read.bad_lines.empty());
}

TEST(EventReader, SortsByTimeStably) {
  const auto events =
      Read(Accepted(20, "b") + Sent(10, "a") + Accepted(10, "a") + Sent(10, "c")).events;
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[0].uuid, "a");
  EXPECT_EQ(events[1].kind, EventKind::kAccepted);
  EXPECT_EQ(events[2].uuid, "c");
  EXPECT_EQ(events[3].uuid, "b");
}

TEST(EventReader, ReportsInvalidLinesWithReasons) {
  const auto read = Read(Sent(1, "a") + "garbage\n" + Sent(2, "b") + Line(3, "sneezed"));
  EXPECT_EQ(read.events.size(), 2u);
  ASSERT_EQ(read.bad_lines.size(), 2u);
  EXPECT_EQ(read.bad_lines[0].number, 2);
  EXPECT_EQ(read.bad_lines[0].reason, "invalid JSON: Invalid value.");
  EXPECT_EQ(read.bad_lines[1].number, 4);
  EXPECT_EQ(read.bad_lines[1].reason, "unknown event \"sneezed\"");
}

TEST(EventReader, ReportsMissingAndMistypedMembers) {
  EXPECT_EQ(ReasonFor("[1]"), "not a JSON object");
  EXPECT_EQ(ReasonFor(R"({"pid":1,"event":"end"})"), "missing \"t\"");
  EXPECT_EQ(ReasonFor(R"({"t":"soon","pid":1,"event":"end"})"), "\"t\" is not an integer");
  EXPECT_EQ(ReasonFor(R"({"t":1,"pid":1,"event":7})"), "\"event\" is not a string");
  EXPECT_EQ(ReasonFor(R"({"t":1,"pid":1,"event":"accepted"})"), "missing \"uuid\"");
  EXPECT_EQ(
      ReasonFor(R"({"t":1,"pid":1,"event":"extension","uuid":"u","handler":"","seconds":"x"})"),
      "\"seconds\" is not a number");
  EXPECT_EQ(
      ReasonFor(R"({"t":1,"pid":1,"event":"extension","uuid":"u","handler":"","seconds":9e308})"),
      "\"seconds\" is not a finite number");
  EXPECT_EQ(
      ReasonFor(
          R"({"t":1,"pid":1,"event":"extension","uuid":"u","handler":"","seconds":1,"granted":1})"),
      "\"granted\" is not a boolean");
}

TEST(EventReader, RejectsNegativeTimes) {
  EXPECT_EQ(ReasonFor(R"({"t":-1,"pid":1,"event":"end"})"), "\"t\" is not a non-negative integer");
}

TEST(EventReader, RejectsDeeplyNestedLines) {
  const std::string deep(1'000'000, '[');
  EXPECT_EQ(ReasonFor(deep), "invalid JSON: Invalid value.");
  EXPECT_EQ(ReasonFor(deep + std::string(deep.size(), ']')), "not a JSON object");
}

TEST(EventReader, ReplacesInvalidUtf8) {
  const std::string kept = "\u00e9\u20ac\U0001F600";
  const auto events = Read(Accepted(1, kept) +
                           Accepted(2,
                                    "a\xFF"
                                    "b\xC0\xAF"
                                    "c\xE2\x82") +
                           Accepted(3, "\xED\xA0\x80") + Accepted(4, "\xF4\x90\x80\x80"))
                          .events;
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[0].uuid, kept);
  EXPECT_EQ(events[1].uuid, "a\uFFFDb\uFFFD\uFFFDc\uFFFD\uFFFD");
  EXPECT_EQ(events[2].uuid, "\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(events[3].uuid, "\uFFFD\uFFFD\uFFFD\uFFFD");
}

}  // namespace
}  // namespace tools::record
