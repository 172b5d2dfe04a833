// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "recorder/connections.h"

#include <gtest/gtest.h>

namespace tools::recorder {
namespace {

int places[2];
void* const kPort = &places[0];
void* const kOtherPort = &places[1];

TEST(Connections, FindThePeerOfACallbackPortUntilItDisconnects) {
  auto& connections = Connections::Get();
  connections.Add({"handler", "one"});
  connections.Add({"handler", "two"});
  connections.SetCallbackPort(kPort, "one");
  connections.SetCallbackPort(kOtherPort, "two");
  const auto peer = connections.OfCallbackPort(kPort);
  ASSERT_TRUE(peer);
  EXPECT_EQ(peer->handler, "handler");
  EXPECT_EQ(peer->instance, "one");
  connections.Remove("one");
  EXPECT_FALSE(connections.OfCallbackPort(kPort));
  EXPECT_TRUE(connections.OfCallbackPort(kOtherPort));
  connections.Remove("two");
}

TEST(Connections, ReplaceThePeerOfAReusedPort) {
  auto& connections = Connections::Get();
  connections.Add({"handler", "one"});
  connections.SetCallbackPort(kPort, "one");
  connections.SetCallbackPort(kPort, "of another stub");
  EXPECT_FALSE(connections.OfCallbackPort(kPort));
  connections.Remove("one");
}

TEST(Connections, DistinguishTheLibrarysStub) {
  auto& connections = Connections::Get();
  connections.SetStub(kPort, "CommandHandler");
  connections.SetStub(kOtherPort, "another");
  EXPECT_TRUE(connections.IsLibraryStub(kPort));
  EXPECT_FALSE(connections.IsLibraryStub(kOtherPort));
  connections.SetStub(kPort, "another");
  EXPECT_FALSE(connections.IsLibraryStub(kPort));
}

}  // namespace
}  // namespace tools::recorder
