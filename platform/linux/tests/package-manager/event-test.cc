// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <package_manager.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "platform/linux/common/message.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/package-manager/package-event.h"
#include "platform/linux/tests/support/platform-test.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

using test::PackageSpec;

struct ReceivedEvents {
  std::vector<std::string> events;
  package_manager_h manager = nullptr;
};

std::string Describe(const char* type, const char* package, int event_type, int state, int progress,
                     int error) {
  return std::string(type) + " " + package + " type " + std::to_string(event_type) + " state " +
         std::to_string(state) + " at " + std::to_string(progress) + " error " +
         std::to_string(error);
}

// Records the event and destroys the manager that reports it.
void DestroyManager(const char*, const char*, package_manager_event_type_e,
                    package_manager_event_state_e, int, package_manager_error_e, void* data) {
  auto* received = static_cast<ReceivedEvents*>(data);
  received->events.emplace_back("last");
  package_manager_destroy(received->manager);
}

void OnEvent(const char* type, const char* package, package_manager_event_type_e event_type,
             package_manager_event_state_e state, int progress, package_manager_error_e error,
             void* received) {
  static_cast<ReceivedEvents*>(received)->events.push_back(
      Describe(type, package, event_type, state, progress, error));
}

const std::vector<std::string> kInstallEvents = {"tpk org.test.p type 0 state 0 at 0 error 0",
                                                 "tpk org.test.p type 0 state 1 at 50 error 0",
                                                 "tpk org.test.p type 0 state 2 at 100 error 0"};

class PackageEventTest : public test::PlatformTest {
 protected:
  PackageEventTest() { ecore_init(); }

  ~PackageEventTest() override {
    if (stop_ >= 0) close(stop_);
    ecore_shutdown();
  }

  // Starts another process that reports the events that it receives.
  void StartListener(const std::string& mask) {
    mkfifo((Root() + "/stop").c_str(), 0600);
    if (stop_ < 0) stop_ = open((Root() + "/stop").c_str(), O_RDWR | O_CLOEXEC);
    listener_ = test::StartTool({"listen", mask});
    ASSERT_EQ(NextReport(), "listening");
  }

  void StopListener() {
    ASSERT_EQ(write(stop_, "x", 1), 1);
    EXPECT_EQ(test::Await(listener_), 0);
  }

  static package_manager_h Listen(ReceivedEvents* received, package_manager_event_cb callback,
                                  int mask) {
    package_manager_h manager = nullptr;
    EXPECT_EQ(package_manager_create(&manager), PACKAGE_MANAGER_ERROR_NONE);
    received->manager = manager;
    EXPECT_EQ(package_manager_set_event_cb(manager, callback, received),
              PACKAGE_MANAGER_ERROR_NONE);
    if (mask >= 0) {
      EXPECT_EQ(package_manager_set_event_status(manager, mask), PACKAGE_MANAGER_ERROR_NONE);
    }
    return manager;
  }

  std::vector<std::string> Sockets() const { return test::SortedNames(Root() + "/run/events"); }

  pid_t listener_ = -1;
  int stop_ = -1;
};

TEST_F(PackageEventTest, CallsCallbackOfRequest) {
  struct Seen {
    std::vector<std::string> events;
    int id = 0;
  } seen;
  test::WritePackage(Folder() + "/source", PackageSpec());
  package_manager_request_h request = nullptr;
  package_manager_request_create(&request);
  package_manager_request_set_event_cb(
      request,
      [](int id, const char* type, const char* package, package_manager_event_type_e event_type,
         package_manager_event_state_e state, int progress, package_manager_error_e error,
         void* data) {
        auto* all = static_cast<Seen*>(data);
        all->events.push_back(Describe(type, package, event_type, state, progress, error));
        all->id = id;
      },
      &seen);
  int id = 0;
  ASSERT_EQ(package_manager_request_install(request, (Folder() + "/source").c_str(), &id),
            PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(seen.events, kInstallEvents);
  EXPECT_EQ(seen.id, id);
  EXPECT_GT(id, 0);
  const int first = id;
  package_manager_request_uninstall(request, "org.test.p", &id);
  EXPECT_NE(id, first);
  package_manager_request_destroy(request);
}

TEST_F(PackageEventTest, CallsListenerInSameProcessWithoutMainLoop) {
  ReceivedEvents received;
  package_manager_h manager = Listen(&received, OnEvent, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(received.events, kInstallEvents);
  EXPECT_EQ(Sockets().size(), 1U);
  package_manager_destroy(manager);
  EXPECT_TRUE(Sockets().empty());
}

TEST_F(PackageEventTest, CallsListenerOnMainLoopWhenAnotherThreadInstalls) {
  ReceivedEvents received;
  package_manager_h manager = Listen(&received, OnEvent, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  int result = -1;
  std::thread installer([&] {
    result = Install(PackageSpec());
    ecore_main_loop_thread_safe_call_async([](void*) { ecore_main_loop_quit(); }, nullptr);
  });
  ecore_main_loop_begin();
  installer.join();
  EXPECT_EQ(result, PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(received.events, kInstallEvents);
  package_manager_destroy(manager);
}

TEST_F(PackageEventTest, RequiresStatus) {
  ReceivedEvents received;
  package_manager_h manager = Listen(&received, OnEvent, -1);
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(received.events.empty());
  package_manager_destroy(manager);
}

TEST_F(PackageEventTest, FiltersByStatus) {
  ReceivedEvents received;
  package_manager_h manager =
      Listen(&received, OnEvent,
             PACKAGE_MANAGER_STATUS_TYPE_UPGRADE | PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL);
  PackageSpec package;
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(received.events.empty());
  package.version = "2.0.0";
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  ASSERT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  ASSERT_EQ(received.events.size(), 6U);
  EXPECT_EQ(received.events[2], "tpk org.test.p type 2 state 2 at 100 error 0");
  EXPECT_EQ(received.events[3], "tpk org.test.p type 1 state 0 at 0 error 0");
  package_manager_destroy(manager);
}

TEST_F(PackageEventTest, StopsAfterCallbackIsUnset) {
  ReceivedEvents received;
  package_manager_h manager = Listen(&received, OnEvent, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  ASSERT_EQ(package_manager_unset_event_cb(manager), PACKAGE_MANAGER_ERROR_NONE);
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(received.events.empty());
  package_manager_destroy(manager);
}

TEST_F(PackageEventTest, CallbackMayDestroyManager) {
  ReceivedEvents received;
  ReceivedEvents other;
  Listen(&received, DestroyManager, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  package_manager_h manager = Listen(&other, OnEvent, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(received.events.size(), 1U);
  EXPECT_EQ(other.events, kInstallEvents);
  package_manager_destroy(manager);
}

TEST_F(PackageEventTest, CallbackMayDestroyManagerOnMainLoop) {
  ReceivedEvents received;
  Listen(&received, DestroyManager, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  std::thread installer([&] {
    EXPECT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
    ecore_main_loop_thread_safe_call_async([](void*) { ecore_main_loop_quit(); }, nullptr);
  });
  ecore_main_loop_begin();
  installer.join();
  EXPECT_EQ(received.events.size(), 1U);
}

TEST_F(PackageEventTest, RejectsRequestFromCallbackOfRequest) {
  ReceivedEvents received;
  const auto install = [](const char*, const char*, package_manager_event_type_e,
                          package_manager_event_state_e, int, package_manager_error_e, void* data) {
    static_cast<ReceivedEvents*>(data)->events.push_back(std::to_string(Uninstall("org.test.p")));
  };
  package_manager_h manager = Listen(&received, install, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(received.events[0], std::to_string(PACKAGE_MANAGER_ERROR_SYSTEM_ERROR));
  package_manager_destroy(manager);
}

TEST_F(PackageEventTest, ReportsStateThatAnotherProcessSees) {
  StartListener("0");
  PackageSpec package;
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(NextReport(), kInstallEvents[0] + ": not installed");
  EXPECT_EQ(NextReport(), kInstallEvents[1] + ": not installed");
  EXPECT_EQ(NextReport(), kInstallEvents[2] + ": version 1.0.0 with files");
  package.version = "2.0.0";
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(NextReport(), "tpk org.test.p type 2 state 0 at 0 error 0: version 1.0.0 with files");
  EXPECT_EQ(NextReport(), "tpk org.test.p type 2 state 1 at 50 error 0: version 1.0.0 with files");
  EXPECT_EQ(NextReport(), "tpk org.test.p type 2 state 2 at 100 error 0: version 2.0.0 with files");
  ASSERT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(NextReport(), "tpk org.test.p type 1 state 0 at 0 error 0: version 2.0.0 with files");
  EXPECT_EQ(NextReport(), "tpk org.test.p type 1 state 1 at 50 error 0: version 2.0.0 with files");
  EXPECT_EQ(NextReport(), "tpk org.test.p type 1 state 2 at 100 error 0: not installed");
  StopListener();
  EXPECT_TRUE(Sockets().empty());
}

TEST_F(PackageEventTest, IsHandledBeforeRequestReturns) {
  StartListener("0");
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(HasReport());
    NextReport();
  }
  StopListener();
}

TEST_F(PackageEventTest, IsNotSentForInvalidPackage) {
  StartListener("0");
  test::WriteFile(Folder() + "/bad/tizen-manifest.xml", "<manifest/>");
  EXPECT_EQ(InstallPath(Folder() + "/bad"), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(HasReport());
  StopListener();
}

TEST_F(PackageEventTest, ReportsFailureAfterStart) {
  StartListener("0");
  // A file in place of the package's folder.
  test::WriteFile(Root() + "/packages/org.test.p", "text");
  EXPECT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_IO_ERROR);
  EXPECT_EQ(NextReport(), kInstallEvents[0] + ": not installed");
  EXPECT_EQ(NextReport(), "tpk org.test.p type 0 state 3 at 0 error -5: not installed");
  StopListener();
}

TEST_F(PackageEventTest, RemovesSocketOfExitedListener) {
  StartListener("0");
  test::Signal(listener_, SIGKILL);
  test::Await(listener_);
  EXPECT_EQ(Sockets().size(), 1U);
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(Sockets().empty());
}

TEST_F(PackageEventTest, WaitsForUnresponsiveListenerUntilTimeout) {
  const pid_t unresponsive = test::StartTool({"listen-unresponsive"});
  ASSERT_EQ(NextReport(), "listening");
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  const auto taken = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(taken, std::chrono::seconds(5)) << "uninstalled before the timeout";
  EXPECT_NE(Log().find("has not acknowledged an event"), std::string::npos);
  test::Signal(unresponsive, SIGKILL);
  test::Await(unresponsive);
}

// Sends an event to this process's listener and waits until it has been acknowledged.
void SendToOwnListener(const PackageEvent& event) {
  bool is_over = false;
  std::thread sender([&] {
    const UniqueFd socket =
        ConnectTo(FolderBelowRoot(kEventSocketFolder), std::to_string(getpid()));
    EXPECT_TRUE(SendMessage(socket.Get(), EncodeEvent(event), std::chrono::seconds(60)));
    pollfd ready = {socket.Get(), POLLIN, 0};
    EXPECT_EQ(poll(&ready, 1, 60'000), 1);
    ecore_main_loop_thread_safe_call_async([](void*) { ecore_main_loop_quit(); }, nullptr);
    is_over = true;
  });
  ecore_main_loop_begin();
  sender.join();
  EXPECT_TRUE(is_over);
}

TEST_F(PackageEventTest, IsDroppedWhenInconsistentWithPackageDatabase) {
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  ReceivedEvents received;
  package_manager_h manager = Listen(&received, OnEvent, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  PackageEvent event;
  event.package_id = "org.test.p";
  event.type = PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL;
  for (const auto state :
       {PACKAGE_MANAGER_EVENT_STATE_STARTED, PACKAGE_MANAGER_EVENT_STATE_PROCESSING,
        PACKAGE_MANAGER_EVENT_STATE_COMPLETED}) {
    event.state = state;
    SendToOwnListener(event);
  }
  event.package_id = "org.test.missing";
  for (const auto type : {PACKAGE_MANAGER_EVENT_TYPE_INSTALL, PACKAGE_MANAGER_EVENT_TYPE_UPDATE}) {
    event.type = type;
    SendToOwnListener(event);
  }
  EXPECT_TRUE(received.events.empty()) << received.events.front();
  EXPECT_NE(Log().find("dropped a forged event from process " + std::to_string(getpid()) +
                       ": package org.test.p has another state"),
            std::string::npos);
  package_manager_destroy(manager);
}

// A listener may receive events after the operation has finished.
TEST_F(PackageEventTest, IsAcceptedWhenLate) {
  ReceivedEvents received;
  package_manager_h manager = Listen(&received, OnEvent, PACKAGE_MANAGER_STATUS_TYPE_ALL);
  PackageEvent event;
  event.package_id = "org.test.p";
  event.type = PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL;
  SendToOwnListener(event);
  event.state = PACKAGE_MANAGER_EVENT_STATE_COMPLETED;
  SendToOwnListener(event);
  EXPECT_EQ(received.events.size(), 2U);
  package_manager_destroy(manager);
}

TEST_F(PackageEventTest, RoundTripsThroughEncoding) {
  PackageEvent event;
  event.package_id = "org.test.p";
  event.type = PACKAGE_MANAGER_EVENT_TYPE_UPDATE;
  event.state = PACKAGE_MANAGER_EVENT_STATE_FAILED;
  event.progress = 50;
  event.error = PACKAGE_MANAGER_ERROR_IO_ERROR;
  const std::vector<uint8_t> bytes = EncodeEvent(event);
  const auto decoded = DecodeEvent(bytes);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->package_type, "tpk");
  EXPECT_EQ(decoded->package_id, "org.test.p");
  EXPECT_EQ(decoded->type, event.type);
  EXPECT_EQ(decoded->state, event.state);
  EXPECT_EQ(decoded->progress, 50);
  EXPECT_EQ(decoded->error, event.error);
  for (size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(DecodeEvent({bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size)}));
  std::vector<uint8_t> longer = bytes;
  longer.push_back(0);
  EXPECT_FALSE(DecodeEvent(longer));
  std::vector<uint8_t> unknown_type = bytes;
  unknown_type[0] = 9;
  EXPECT_FALSE(DecodeEvent(unknown_type));
  constexpr size_t kErrorOffset = 6;
  std::vector<uint8_t> unknown_error = bytes;
  unknown_error[kErrorOffset] ^= 1U;
  EXPECT_FALSE(DecodeEvent(unknown_error));
}

}  // namespace
}  // namespace platform
