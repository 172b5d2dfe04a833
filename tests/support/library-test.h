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

// A fresh platform around each test, and afterwards no misuse of it.
class PlatformTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The handles that may be left at the end of the test.
  virtual void CheckHeld() const;
};

// The whole library, used as its clients use it; shut down after the test.
class LibraryTest : public PlatformTest {
 protected:
  void TearDown() override;
  void CheckHeld() const override;

  // Starts the library with these timeouts, in milliseconds.
  void Start(int execution_timeout = 3000, int connection_timeout = 5000);
  // The same with a client that listens to everything.
  void StartWithClient();

  int Send(const std::string& uuid, const std::string& request_type,
           const std::string& payload = "{}");

  std::string DatabasePath() const { return fake::DataPath() + ".qor-handlers.db"; }

  Client client_;
};

// Error texts of the library's own results.
extern const char kExecutionTimeoutError[];
extern const char kConnectionTimeoutError[];

}  // namespace support

#endif
