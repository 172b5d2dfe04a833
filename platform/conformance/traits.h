// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_CONFORMANCE_TRAITS_H_
#define PLATFORM_CONFORMANCE_TRAITS_H_

// The functions that each tested implementation of the platform provides.

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

// Called before and after every test. The package database is empty at the beginning of a test.
void SetUp();
void TearDown();

// Returns when the package is in the database. Raises the events of an installation.
void InstallPackage(const Package& package);
void UninstallPackage(const std::string& package_id);

// Runs the main loop until the condition holds. Returns false after a timeout.
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

// Tests are defined with one of the macros below and a fixture derived from conformance::Test.
#undef TEST

// Subject.DoesThisAsDocumented: documented for devices. Code above the platform boundary may rely
// on it. Filter for a run on a device: --gtest_filter=*AsDocumented.
#define DOCUMENTED_TEST(fixture, name) TEST_F(fixture, name##AsDocumented)

// Subject.DoesThisOnLinux: guaranteed only by the implementations in this tree. The documentation
// does not specify it, or specifies that a call fails but not how. Code above the platform
// boundary must not rely on it, and a device may fail it.
#define LINUX_TEST(fixture, name) TEST_F(fixture, name##OnLinux)

#endif
