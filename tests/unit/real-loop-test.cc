// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "api/pending-commands.h"
#include "extreme-numbers.h"
#include "qor_handler_manager.h"
#include "tizen/thread-utils.h"

namespace {

using tizen::ThreadUtils;

constexpr double kLimitSeconds = 20;

// Other threads with Ecore's real main loop.
class RealLoop : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string folder = (std::filesystem::temp_directory_path() / "real-loop-XXXXXX").string();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    root_ = folder;
    ASSERT_EQ(setenv("QOR_PLATFORM_ROOT", root_.c_str(), 1), 0);
    ecore_app_no_system_modules();
    ASSERT_GT(ecore_init(), 0);
  }

  void TearDown() override {
    ecore_shutdown();
    std::filesystem::remove_all(root_);
  }

  // Runs the loop until Quit() is called; fails after a timeout.
  static void Run() {
    bool late = false;
    Ecore_Timer* limit = ecore_timer_add(
        kLimitSeconds,
        [](void* data) -> Eina_Bool {
          *static_cast<bool*>(data) = true;
          ecore_main_loop_quit();
          return ECORE_CALLBACK_RENEW;
        },
        &late);
    ecore_main_loop_begin();
    ecore_timer_del(limit);
    EXPECT_FALSE(late);
  }

  static void Quit() {
    ecore_main_loop_thread_safe_call_async([](void*) { ecore_main_loop_quit(); }, nullptr);
  }

  // Runs the loop until the other threads have finished.
  static void RunBeside(const std::vector<std::function<void()>>& parts) {
    std::atomic<std::size_t> left{parts.size()};
    std::vector<std::thread> threads;
    for (const auto& part : parts) {
      threads.emplace_back([&part, &left] {
        part();
        if (--left == 0) Quit();
      });
    }
    Run();
    for (std::thread& thread : threads) thread.join();
  }

  static void SendWithTimer(api::PendingCommands& commands, std::function<bool()> action,
                            double seconds) {
    auto& context =
        commands.Append(rpc_port::stub::Command("uuid", "type", "", 0, {}), std::move(action));
    commands.StartTimer(context, 0, seconds);
  }

 private:
  std::filesystem::path root_;
};

TEST_F(RealLoop, FiresTimersStartedByAnotherThread) {
  std::thread::id fired_on;
  api::PendingCommands commands;
  const auto action = [&fired_on] {
    fired_on = std::this_thread::get_id();
    Quit();
    return false;
  };
  std::thread starter([&] { SendWithTimer(commands, action, 0.001); });
  Run();
  starter.join();
  EXPECT_EQ(fired_on, std::this_thread::get_id());
}

TEST_F(RealLoop, AcceptsTimersOfManyThreads) {
  std::atomic<int> fired{0};
  const auto action = [&fired] {
    ++fired;
    return false;
  };
  const std::vector<std::function<void()>> parts(4, [&action] {
    for (int i = 0; i < 25; ++i) {
      api::PendingCommands commands;
      SendWithTimer(commands, action, 1000);
      api::RequestContext& context = *commands.Find("uuid");
      context.SetTimeout(2000);
      context.StopTimer();
      commands.StartTimer(context, 0, 1000);
    }
  });
  RunBeside(parts);
  EXPECT_EQ(fired, 0);
}

// Ecore keeps its timers in one list ordered by time, so one interval could stop all of them.
TEST_F(RealLoop, FiresTimersBesideExtremeIntervals) {
  std::vector<double> intervals = support::kNaNs;
  intervals.insert(intervals.end(), support::kExtremeDoubles.begin(),
                   support::kExtremeDoubles.end());
  for (const double seconds : intervals) {
    api::PendingCommands other;
    const auto quit = [] {
      Quit();
      return false;
    };
    SendWithTimer(other, quit, 0.001);
    api::PendingCommands extreme;
    SendWithTimer(
        extreme, [] { return false; }, 1000);
    extreme.Find("uuid")->SetTimeout(seconds);
    Run();
    ASSERT_FALSE(HasFailure()) << seconds;
  }
}

TEST_F(RealLoop, SerializesCallsOfManyThreads) {
  const auto main_thread = std::this_thread::get_id();
  int count = 0;  // without a lock: only the loop's thread accesses it
  const std::vector<std::function<void()>> parts(4, [&] {
    for (int i = 0; i < 25; ++i) {
      ThreadUtils::InvokeOnMainThreadSync([&] {
        EXPECT_EQ(std::this_thread::get_id(), main_thread);
        ++count;
      });
      EXPECT_THROW(
          ThreadUtils::InvokeOnMainThreadSync([] { throw std::runtime_error("test error"); }),
          std::runtime_error);
    }
  });
  RunBeside(parts);
  EXPECT_EQ(count, 100);
}

TEST_F(RealLoop, DeletesTimersAfterEcoreHasShutDown) {
  {
    api::PendingCommands commands;
    SendWithTimer(
        commands, [] { return false; }, 1000);
    EXPECT_EQ(ecore_shutdown(), 0);
  }
  EXPECT_EQ(ecore_init(), 1);
}

TEST_F(RealLoop, ServesTheLibraryOfAnotherThread) {
  qor_handler_manager_configuration_h config = nullptr;
  ASSERT_EQ(qor_handler_manager_configuration_create(&config), 0);
  ASSERT_EQ(qor_handler_manager_initialize(config), 0);
  ASSERT_EQ(qor_handler_manager_configuration_destroy(config), 0);
  RunBeside({[] {
    EXPECT_EQ(qor_handler_manager_set_response_cb([](const char*, qor_request_status_e, const char*,
                                                     int, const char*, int, void*) {},
                                                  nullptr),
              0);
    EXPECT_EQ(qor_handler_manager_foreach_handler_info(
                  [](qor_handler_manager_handler_info_h, void*) { return true; }, nullptr),
              0);
    EXPECT_EQ(qor_handler_manager_send_command("uuid", "type", nullptr, 0, 0),
              QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
    ThreadUtils::InvokeOnMainThreadSync([] { EXPECT_EQ(qor_handler_manager_shutdown(), 0); });
  }});
}

}  // namespace
