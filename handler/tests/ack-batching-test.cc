// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ack-batching.h"

#include <gtest/gtest.h>

namespace qor::internal {
namespace {

// Returns how many of `answers` acks may be deferred.
int CountDeferred(AckBatching& pace, std::size_t answers) {
  int deferred = 0;
  for (std::size_t i = 0; i < answers; ++i) deferred += pace.MayDefer() ? 1 : 0;
  return deferred;
}

TEST(AckBatching, DefersAnAckAsProbe) {
  AckBatching pace;
  EXPECT_EQ(CountDeferred(pace, AckBatching::kAnswersPerProbe - 1), 0);
  EXPECT_TRUE(pace.MayDefer());
  EXPECT_EQ(CountDeferred(pace, 10 * AckBatching::kAnswersPerProbe), 10);
}

TEST(AckBatching, DefersAllAfterACommandBeforeAnAck) {
  AckBatching pace;
  pace.OnCommandBeforeAck();
  EXPECT_EQ(CountDeferred(pace, 100), 100);
  pace.OnAcks(2);
  EXPECT_EQ(CountDeferred(pace, 100), 100);
}

TEST(AckBatching, StopsDeferringAfterASingleAck) {
  AckBatching pace;
  pace.OnCommandBeforeAck();
  pace.OnAcks(1);
  EXPECT_EQ(CountDeferred(pace, AckBatching::kAnswersPerProbe - 1), 0);
}

}  // namespace
}  // namespace qor::internal
