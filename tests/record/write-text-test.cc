// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "lines.h"
#include "record/writers.h"

namespace tools::record {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(WriteText, WritesTheTimelineOfACommandAndCountsOutcomes) {
  const Record record =
      RecordOf(Line(0, "start", R"(,"program":"agent","wall":1700000000123456)") +
               Sent(1000, "u", "text.slow") + Launched(1100, "u", "h") + Accepted(1200, "u") +
               Connected(3000, "h") + Delivered(3500, "u", "h") + Extended(3600, "u", 2.5, false) +
               TimedOut(2'003'500, "u", "execution") + Answered(2'500'000, "u", "h") +
               Sent(2'600'000, "v", "none") + Refused(2'600'100, "v", -1073741826));
  EXPECT_EQ(Written(WriteText, record),
            R"(2023-11-14 22:13:20.123 UTC, 2.600 s: 2 commands, 1 handler

u  text.slow  h  execution timeout after 2.002 s: connecting 2.0 ms, waiting 500 us, executing 2.000 s
        1.0 ms  sent {}
       +100 us  handler launched
       +200 us  accepted
       +2.0 ms  handler connected
       +2.5 ms  delivered
       +2.6 ms  requested 2.500 s: refused
      +2.002 s  execution timeout
      +2.499 s  late result: success the result

v  none  no handler  refused after 100 us
       2.600 s  sent {}
       +100 us  refused: no handler serves the type (-1073741826)

     1  execution timeout
     1  refused
     1  late result
)");
}

TEST(WriteText, WritesDisconnectionsAndExitsOfTheHandler) {
  const Record record = RecordOf(Sent(0, "u", "t") + Launched(100, "u", "h") + Connected(200, "h") +
                                 Connected(300, "h", "i", false) + Exited(400, "h", 3) +
                                 TimedOut(500, "u", "execution") + Exited(600, "h", 4));
  EXPECT_EQ(Written(WriteText, record),
            R"(600 us: 1 command, 1 handler

u  t  h  execution timeout after 500 us: connecting 200 us, waiting 300 us
          0 us  sent {}
       +100 us  handler launched
       +200 us  handler connected
       +300 us  handler disconnected
       +400 us  handler exited with status 3
       +500 us  execution timeout

     1  execution timeout
     2  handler exits
)");
}

TEST(WriteText, WritesUntrustedTextOnOneShortLine) {
  const std::string text =
      Written(WriteText,
              RecordOf(Line(0, "sent",
                            R"(,"uuid":"u","type":"t","payload":"a\n\n  b\u001b[31m\u009b\u202e)" +
                                std::string(200, 'x') + "\"")));
  EXPECT_THAT(text, HasSubstr("sent a b\\x1b[31m\\u009b\\u202exxx"));
  EXPECT_THAT(text, HasSubstr("xxx...\n"));
  EXPECT_THAT(text, Not(HasSubstr(std::string(130, 'x'))));
}

TEST(WriteText, TruncatesBetweenCharacters) {
  std::string payload;
  for (int i = 0; i < 100; ++i) payload += "\u20ac";
  const std::string text =
      Written(WriteText,
              RecordOf(Line(0, "sent", R"(,"uuid":"u","type":"t","payload":"a)" + payload + "\"")));
  std::string kept;
  for (int i = 0; i < 39; ++i) kept += "\u20ac";
  EXPECT_THAT(text, HasSubstr("sent a" + kept + "...\n"));
}

TEST(WriteText, ChoosesTheUnitOfDurations) {
  EXPECT_EQ(FormatDuration(999), "999 us");
  EXPECT_EQ(FormatDuration(1'500), "1.5 ms");
  EXPECT_EQ(FormatDuration(1'234'567), "1.235 s");
  EXPECT_EQ(FormatWallTime(0), "");
}

}  // namespace
}  // namespace tools::record
