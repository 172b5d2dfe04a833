// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "library-test.h"

namespace support {

void PlatformTest::SetUp() { fake::Reset(); }

void PlatformTest::TearDown() {
  CheckOpenHandles();
  EXPECT_THAT(fake::UsageErrors(), ::testing::IsEmpty());
}

void PlatformTest::CheckOpenHandles() const { EXPECT_EQ(fake::OpenHandles(), ""); }

void LibraryTest::TearDown() {
  EXPECT_EQ(qor_handler_manager_shutdown(), 0);
  PlatformTest::TearDown();
}

void LibraryTest::CheckOpenHandles() const {
  // After a shutdown the registry still receives package events.
  EXPECT_THAT(fake::OpenHandles(), ::testing::AnyOf("", "1 package manager"));
}

void LibraryTest::Start(int execution_timeout, int connection_timeout) {
  qor_handler_manager_configuration_h config = nullptr;
  ASSERT_EQ(qor_handler_manager_configuration_create(&config), 0);
  qor_handler_manager_configuration_set_command_execution_timeout(config, execution_timeout);
  qor_handler_manager_configuration_set_connection_timeout(config, connection_timeout);
  EXPECT_EQ(qor_handler_manager_initialize(config), 0);
  EXPECT_EQ(qor_handler_manager_configuration_destroy(config), 0);
}

void LibraryTest::StartWithClient() {
  Start();
  client_.ListenForResponses();
  client_.ListenForNegotiations();
  client_.ListenForUpdates();
}

int LibraryTest::Send(const std::string& uuid, const std::string& request_type,
                      const std::string& payload) {
  return qor_handler_manager_send_command(uuid.c_str(), request_type.c_str(), payload.c_str(),
                                          static_cast<int>(payload.size()), 1700000000);
}

// Duplicates of the library's constants on purpose: clients compare these texts byte for byte.
const char kExecutionTimeoutError[] =
    "\n                    {\n"
    "                        \"ErrorCode\": 2004,\n"
    "                        \"ErrorDomain\": \"QOR-CLIENT\",\n"
    "                        \"ErrorDescription\": \"Execution time out\"\n"
    "                    }";
const char kConnectionTimeoutError[] =
    "\n                    {\n"
    "                        \"ErrorCode\": 2004,\n"
    "                        \"ErrorDomain\": \"QOR-CLIENT\",\n"
    "                        \"ErrorDescription\": \"Connection time out\"\n"
    "                    }";

}  // namespace support
