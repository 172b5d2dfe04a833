// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Queries, launches, subscriptions and events while each of their allocations fails in turn.
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

class AllocationFailureTest : public test::PlatformTest {
 protected:
  // Fails the function's allocations one after another. The function must return an error exactly
  // when an allocation has failed, and succeed when called again.
  static void FailEachAllocation(const std::function<int()>& function) {
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

TEST_F(AllocationFailureTest, AreReportedByQueries) {
  ASSERT_EQ(Install({}), 0);
  FailEachAllocation([] {
    package_info_h info = nullptr;
    const int result = package_info_create("org.test.p", &info);
    if (result == 0) package_info_destroy(info);
    return result;
  });
  FailEachAllocation([] {
    app_info_h info = nullptr;
    const int result = app_info_create("org.test.p.app", &info);
    if (result == 0) app_info_destroy(info);
    return result;
  });
  FailEachAllocation([] {
    return package_manager_foreach_package_info([](package_info_h, void*) { return true; },
                                                nullptr);
  });
}

TEST_F(AllocationFailureTest, AreReportedByLaunches) {
  test::PackageSpec package;
  package.executable = "/bin/true";
  ASSERT_EQ(Install(package), 0);
  app_control_h request = nullptr;
  ASSERT_EQ(app_control_create(&request), 0);
  ASSERT_EQ(app_control_set_app_id(request, "org.test.p.app"), 0);
  ASSERT_EQ(
      app_control_add_extra_data(request, "key", "a value longer than the small-string buffer"), 0);
  FailEachAllocation([&] { return app_control_send_launch_request(request, nullptr, nullptr); });
  app_control_destroy(request);
}

TEST_F(AllocationFailureTest, AreReportedBySubscriptions) {
  const auto ignore = [](const char*, const char*, package_manager_event_type_e,
                         package_manager_event_state_e, int, package_manager_error_e, void*) {};
  FailEachAllocation([&] {
    package_manager_h manager = nullptr;
    if (const int result = package_manager_create(&manager)) return result;
    int result = package_manager_set_event_cb(manager, ignore, nullptr);
    if (result == 0)
      result = package_manager_set_event_status(manager, PACKAGE_MANAGER_STATUS_TYPE_ALL);
    const int end = package_manager_destroy(manager);
    return result != 0 ? result : end;
  });
}

TEST_F(AllocationFailureTest, LoseOnlyTheEventThatIsBeingReceived) {
  int received = 0;
  package_manager_h manager = nullptr;
  ASSERT_EQ(package_manager_create(&manager), 0);
  package_manager_set_event_status(manager, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  package_manager_set_event_cb(
      manager,
      [](const char*, const char*, package_manager_event_type_e, package_manager_event_state_e, int,
         package_manager_error_e, void* data) { ++*static_cast<int*>(data); },
      &received);
  const std::string folder = FolderBelowRoot(kEventSocketFolder);
  const auto message = EncodeEvent({"tpk", "org.test.a-package-with-a-name-that-is-long"});
  // Sends from another thread, where no allocation fails. Returns whether an allocation has failed.
  const auto receive_one = [&](long failing) {
    std::atomic<bool> is_acknowledged = false;
    std::thread sender([&] {
      const UniqueFd socket = ConnectTo(folder, std::to_string(getpid()));
      EXPECT_TRUE(SendMessage(socket.Get(), message, std::chrono::seconds(60)));
      pollfd ready = {socket.Get(), POLLIN, 0};
      EXPECT_EQ(poll(&ready, 1, 60'000), 1);
      is_acknowledged = true;
    });
    fault_injection::AllocationFailure failure(failing, Always);
    if (failing != 0) failure.Arm();
    while (!is_acknowledged) ecore_main_loop_iterate();
    sender.join();
    return failure.HasFailed();
  };
  long nth = 1;
  for (; receive_one(nth); ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    received = 0;
    receive_one(0);
    ASSERT_EQ(received, 1);
  }
  EXPECT_GT(nth, 3);
  package_manager_destroy(manager);
}

}  // namespace
}  // namespace platform
