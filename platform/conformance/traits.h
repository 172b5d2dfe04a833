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
  Test() {
    const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    EXPECT_TRUE(EndsWith(name, "AsDocumented") || EndsWith(name, "OnLinux"))
        << "define this test with DOCUMENTED_TEST or LINUX_TEST";
  }

  void SetUp() override { conformance::SetUp(); }
  void TearDown() override { conformance::TearDown(); }

 private:
  static bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
  }
};

}  // namespace conformance

// Every test is defined by one of the two macros below, with a fixture derived from
// conformance::Test.
#undef TEST

// Subject.DoesThisAsDocumented: a promise of the device's documentation. Code above the platform
// boundary may rely on it. The tests for a run on a device: --gtest_filter=*AsDocumented.
#define DOCUMENTED_TEST(fixture, name) TEST_F(fixture, name##AsDocumented)

// Subject.DoesThisOnLinux: a promise of the implementations in this tree alone, where the
// documentation says nothing, or only that a call fails and not how. Code above the platform
// boundary must not rely on it, and a device may fail it.
#define LINUX_TEST(fixture, name) TEST_F(fixture, name##OnLinux)

#endif
