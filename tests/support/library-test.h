// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_LIBRARY_TEST_H_
#define TESTS_SUPPORT_LIBRARY_TEST_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "client.h"
#include "fake-platform.h"
#include "handler-package.h"
#include "handler-peer.h"
#include "log-lines.h"

namespace support {

// Resets the fake platform before each test; afterwards expects that it was used correctly.
class PlatformTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Checks which platform handles are open at the end of the test.
  virtual void CheckOpenHandles() const;
};

// Tests of the whole library through its C interface. Shuts it down after each test.
class LibraryTest : public PlatformTest {
 protected:
  void TearDown() override;
  void CheckOpenHandles() const override;

  // Starts the library. Timeouts are in milliseconds.
  void Start(int execution_timeout = 3000, int connection_timeout = 5000);
  // Starts the library with a client that sets all callbacks.
  void StartWithClient();

  int Send(const std::string& uuid, const std::string& request_type,
           const std::string& payload = "{}");

  std::string DatabasePath() const { return fake::DataPath() + ".qor-handlers.db"; }

  Client client_;
};

// The library's timeout errors.
extern const char kExecutionTimeoutError[];
extern const char kConnectionTimeoutError[];

}  // namespace support

#endif
