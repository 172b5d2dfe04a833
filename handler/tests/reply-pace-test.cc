// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "reply-pace.h"

#include <gtest/gtest.h>

namespace qor::internal {
namespace {

// How many of so many answers may wait for their replies.
int CountWaiting(ReplyPace& pace, std::size_t answers) {
  int waiting = 0;
  for (std::size_t i = 0; i < answers; ++i) waiting += pace.MayWait() ? 1 : 0;
  return waiting;
}

TEST(ReplyPace, LeavesAReplyForLaterNowAndThen) {
  ReplyPace pace;
  EXPECT_EQ(CountWaiting(pace, ReplyPace::kAnswersPerTrial - 1), 0);
  EXPECT_TRUE(pace.MayWait());
  EXPECT_EQ(CountWaiting(pace, 10 * ReplyPace::kAnswersPerTrial), 10);
}

TEST(ReplyPace, LeavesAllForLaterOnceACommandCameBeforeAReply) {
  ReplyPace pace;
  pace.OnCommandBeforeReply();
  EXPECT_EQ(CountWaiting(pace, 100), 100);
  pace.OnReplies(2);
  EXPECT_EQ(CountWaiting(pace, 100), 100);
}

TEST(ReplyPace, AwaitsEachAgainWhenRepliesComeAlone) {
  ReplyPace pace;
  pace.OnCommandBeforeReply();
  pace.OnReplies(1);
  EXPECT_EQ(CountWaiting(pace, ReplyPace::kAnswersPerTrial - 1), 0);
}

}  // namespace
}  // namespace qor::internal
