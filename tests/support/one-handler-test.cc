// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "one-handler-test.h"

namespace support {

void OneHandlerTest::SetUp() {
  LibraryTest::SetUp();
  InstallHandler("h", {"type"});
  StartWithClient();
  fake::ClearLog();
}

void OneHandlerTest::SendAll(const std::vector<std::string>& uuids) {
  for (const std::string& uuid : uuids) ASSERT_EQ(Send(uuid, "type"), 0);
}

HandlerPeer OneHandlerTest::ConnectAndFetch() {
  HandlerPeer handler("h");
  EXPECT_EQ(handler.Fetch(), 0);
  return handler;
}

std::vector<double> OneHandlerTest::DueTimes() {
  std::vector<double> times;
  for (const auto& timer : fake::Timers()) times.push_back(timer.due);
  return times;
}

}  // namespace support
