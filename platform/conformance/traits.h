// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_CONFORMANCE_TRAITS_H_
#define PLATFORM_CONFORMANCE_TRAITS_H_

// What the suite must be told of an implementation: how to set it up and how time passes in it.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace conformance {

struct App {
  std::string id;
  std::vector<std::pair<std::string, std::string>> metadata;
};

struct Package {
  std::string id;
  std::vector<App> apps;
  std::vector<std::string> privileges;
};

// Called around every test, which begins with an empty package database.
void SetUp();
void TearDown();

// Returns when the package is in the database; its events come as on any installation.
void InstallPackage(const Package& package);
void UninstallPackage(const std::string& package_id);

// Runs the main loop until the condition holds. Returns false when it does not in good time.
bool RunLoopUntil(const std::function<bool()>& condition);

class Test : public ::testing::Test {
 protected:
  void SetUp() override { conformance::SetUp(); }
  void TearDown() override { conformance::TearDown(); }
};

}  // namespace conformance

#endif
