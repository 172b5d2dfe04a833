// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Queries, launches, subscriptions and events, with each allocation that one makes failing in turn.
#include <Ecore.h>
#include <app_control.h>
#include <app_info.h>
#include <gtest/gtest.h>
#include <package_info.h>
#include <package_manager.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "fault-injection/allocation-failure.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/package-manager/package-event.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

bool Always() { return true; }

class Allocations : public test::PlatformTest {
 protected:
  // The function fails until it gets all that it wants, and does its work at once afterwards.
  static void FailInTurn(const std::function<int()>& function) {
    ASSERT_EQ(function(), 0);
    long nth = 1;
    for (;; ++nth) {
      SCOPED_TRACE("allocation " + std::to_string(nth));
      int result = 0;
      bool has_failed = false;
      {
        fault_injection::AllocationFailure failure(nth, Always);
        failure.Arm();
        result = function();
        has_failed = failure.HasFailed();
      }
      EXPECT_EQ(result != 0, has_failed) << result;
      EXPECT_EQ(function(), 0);
      if (HasFailure() || !has_failed) break;
    }
    EXPECT_GT(nth, 1);
  }
};

TEST_F(Allocations, ThatFailAreToldByQueries) {
  ASSERT_EQ(Install({}), 0);
  FailInTurn([] {
    package_info_h info = nullptr;
    const int result = package_info_create("org.test.p", &info);
    if (result == 0) package_info_destroy(info);
    return result;
  });
  FailInTurn([] {
    app_info_h info = nullptr;
    const int result = app_info_create("org.test.p.app", &info);
    if (result == 0) app_info_destroy(info);
    return result;
  });
  FailInTurn([] {
    return package_manager_foreach_package_info([](package_info_h, void*) { return true; },
                                                nullptr);
  });
}

TEST_F(Allocations, ThatFailAreToldByLaunches) {
  ASSERT_EQ(Install({}), 0);
  app_control_h request = nullptr;
  ASSERT_EQ(app_control_create(&request), 0);
  ASSERT_EQ(app_control_set_app_id(request, "org.test.p.app"), 0);
  ASSERT_EQ(app_control_add_extra_data(request, "key", "a value too long to stand in the text"), 0);
  FailInTurn([&] { return app_control_send_launch_request(request, nullptr, nullptr); });
  app_control_destroy(request);
}

TEST_F(Allocations, ThatFailAreToldByThoseWhoListenToPackages) {
  const auto ignore = [](const char*, const char*, package_manager_event_type_e,
                         package_manager_event_state_e, int, package_manager_error_e, void*) {};
  FailInTurn([&] {
    package_manager_h manager = nullptr;
    if (const int result = package_manager_create(&manager)) return result;
    int result = package_manager_set_event_cb(manager, ignore, nullptr);
    if (result == 0)
      result = package_manager_set_event_status(manager, PACKAGE_MANAGER_STATUS_TYPE_ALL);
    const int end = package_manager_destroy(manager);
    return result != 0 ? result : end;
  });
}

TEST_F(Allocations, ThatFailWhileAnEventComesLoseNoMoreThanThatEvent) {
  int heard = 0;
  package_manager_h manager = nullptr;
  ASSERT_EQ(package_manager_create(&manager), 0);
  package_manager_set_event_status(manager, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  package_manager_set_event_cb(
      manager,
      [](const char*, const char*, package_manager_event_type_e, package_manager_event_state_e, int,
         package_manager_error_e, void* data) { ++*static_cast<int*>(data); },
      &heard);
  const std::string folder = FolderBelowRoot(kEventSocketFolder);
  const auto message = EncodeEvent({"tpk", "org.test.a-package-with-a-name-that-is-long"});
  // Sent from another thread, in which nothing fails. Whether an allocation failed.
  const auto hear_one = [&](long failing) {
    std::atomic<bool> is_heard = false;
    std::thread sender([&] {
      const UniqueFd socket = ConnectTo(folder, std::to_string(getpid()));
      EXPECT_TRUE(SendMessage(socket.Get(), message, std::chrono::seconds(60)));
      pollfd ready = {socket.Get(), POLLIN, 0};
      EXPECT_EQ(poll(&ready, 1, 60'000), 1);
      is_heard = true;
    });
    fault_injection::AllocationFailure failure(failing, Always);
    if (failing != 0) failure.Arm();
    while (!is_heard) ecore_main_loop_iterate();
    sender.join();
    return failure.HasFailed();
  };
  long nth = 1;
  for (; hear_one(nth); ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    heard = 0;
    hear_one(0);
    ASSERT_EQ(heard, 1);
  }
  EXPECT_GT(nth, 3);
  package_manager_destroy(manager);
}

}  // namespace
}  // namespace platform
