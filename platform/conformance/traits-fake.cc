// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <utility>

#include "fake-platform.h"
#include "traits.h"

namespace conformance {
namespace {

void RaiseAll(const std::string& package_id, package_manager_event_type_e type) {
  for (const auto state :
       {PACKAGE_MANAGER_EVENT_STATE_STARTED, PACKAGE_MANAGER_EVENT_STATE_PROCESSING,
        PACKAGE_MANAGER_EVENT_STATE_COMPLETED}) {
    // The package exists until its removal is complete.
    if (type == PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL &&
        state == PACKAGE_MANAGER_EVENT_STATE_COMPLETED) {
      fake::Uninstall(package_id);
    }
    fake::RaisePackageEvent("tpk", package_id, type, state);
  }
}

// Runs the calls that other threads have queued.
void RunHandedOverCalls() {
  bool has_run = false;
  fake::RunUntil([&has_run] { return std::exchange(has_run, true); });
}

}  // namespace

void SetUp() { fake::Reset(); }

void TearDown() {
  EXPECT_EQ(fake::OpenHandles(), "");
  EXPECT_THAT(fake::UsageErrors(), ::testing::IsEmpty());
}

void InstallPackage(const Package& package) {
  fake::Package installed;
  installed.id = package.id;
  installed.root_path = fake::DataPath() + package.id;
  installed.privileges = package.privileges;
  for (const App& app : package.apps) installed.apps.push_back({app.id, app.metadata});
  fake::Install(installed);
  RaiseAll(package.id, PACKAGE_MANAGER_EVENT_TYPE_INSTALL);
}

void UninstallPackage(const std::string& package_id) {
  RaiseAll(package_id, PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL);
}

bool RunLoopUntil(const std::function<bool()>& condition) {
  for (int step = 0; step < 1000; ++step) {
    if (condition()) return true;
    const auto timers = fake::Timers();
    if (!timers.empty()) fake::Advance(timers.front().due - fake::Now());
    if (condition()) return true;
    RunHandedOverCalls();
  }
  return false;
}

}  // namespace conformance
