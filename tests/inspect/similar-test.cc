// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/similar.h"

#include <gtest/gtest.h>

namespace tools::inspect {
namespace {

TEST(Similar, AcceptsMisspellings) {
  for (const char* slip : {"request_types", "requestTypes", "Request-Types", "request-type",
                           "requst-types", "request types", "requesttypess"}) {
    EXPECT_TRUE(IsNearMiss(slip, "request-types")) << slip;
  }
}

TEST(Similar, RejectsTheSameText) { EXPECT_FALSE(IsNearMiss("request-types", "request-types")); }

TEST(Similar, RejectsDifferentWords) {
  for (const char* other : {"", "types", "request", "response-types", "a-request-types-b"}) {
    EXPECT_FALSE(IsNearMiss(other, "request-types")) << other;
  }
  EXPECT_FALSE(IsNearMiss("text.lower", "text.upper"));
}

TEST(Similar, AllowsOneEditInShortTexts) {
  EXPECT_TRUE(IsNearMiss("a.lon", "a.lot"));
  EXPECT_TRUE(IsNearMiss("a.olt", "a.lot"));
  EXPECT_FALSE(IsNearMiss("a.lin", "a.lot"));
}

}  // namespace
}  // namespace tools::inspect
