// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <tizen.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "extreme-numbers.h"
#include "library-test.h"
#include "tizen/app-info.h"
#include "tizen/callback-guard.h"
#include "tizen/collector.h"
#include "tizen/exception.h"
#include "tizen/package-info.h"
#include "tizen/package-manager.h"
#include "tizen/resource-path.h"
#include "tizen/thread-utils.h"
#include "tizen/timer-wrapper.h"

namespace {

using Strings = std::vector<std::string>;

class TizenWrappers : public support::PlatformTest {};

TEST_F(TizenWrappers, IncludeCallAndPlatformMessageInException) {
  const std::string text = tizen::Exception("call", -5).what();
  EXPECT_NE(text.find("call"), std::string::npos);
  EXPECT_NE(text.find(get_error_message(-5)), std::string::npos);
  EXPECT_NE(text.find("(-5)"), std::string::npos);
}

TEST_F(TizenWrappers, ThrowOnErrorsOnly) {
  EXPECT_NO_THROW(tizen::ThrowOnError(0, "call"));
  EXPECT_THROW(tizen::ThrowOnError(-1, "call"), tizen::Exception);
}

TEST_F(TizenWrappers, ReturnPathInDataFolder) {
  fake::SetDataPath("/data/folder/");
  EXPECT_EQ(tizen::GetResourcePath(static_cast<tizen::Directory>(0), "file"), "/data/folder/file");
  fake::SetDataPath("");
}

TEST_F(TizenWrappers, ThrowForUnknownFolder) {
  EXPECT_THROW(tizen::GetResourcePath(static_cast<tizen::Directory>(99), "file"), tizen::Exception);
}

TEST_F(TizenWrappers, ThrowForMissingDataFolder) {
  fake::Fail("app_get_data_path", -17825791);
  EXPECT_THROW(tizen::GetResourcePath(tizen::Directory::kData, "file"), tizen::Exception);
}

TEST_F(TizenWrappers, ListEachPackageWithHandlerOnce) {
  support::InstallPackage("z", {{"z.one", {{"x"}}}, {"z.two", {{"y"}}}});
  support::InstallPackage("plain", {{"plain.app", std::nullopt}});
  support::InstallPackage("a", {{"a.plain", std::nullopt}, {"a.one", {{"x"}}}});
  const tizen::PackageManager manager(support::kLibraryTag);
  std::vector<Strings> apps;
  for (const auto& package : manager.Handlers(support::kCommandHandlerKey))
    apps.push_back(package.Apps());
  EXPECT_EQ(apps, (std::vector<Strings>{{"a.plain", "a.one"}, {"z.one", "z.two"}}));
}

TEST_F(TizenWrappers, ReturnPackageInfo) {
  fake::Install({"pkg", "/opt/pkg", true, {{"b", {}}, {"a", {}}}, {}});
  const tizen::PackageInfo package("pkg");
  EXPECT_EQ(package.Apps(), (Strings{"b", "a"}));
  EXPECT_EQ(package.RootPath(), "/opt/pkg");
  EXPECT_TRUE(package.IsPreloaded());
  EXPECT_THROW(tizen::PackageInfo("missing"), tizen::Exception);
}

TEST_F(TizenWrappers, ReturnAppInfo) {
  fake::Install({"pkg", "/opt/pkg", false, {{"app", {{"k", "1"}, {"a", "2"}, {"k", "3"}}}}, {}});
  const tizen::AppInfo app("app");
  EXPECT_EQ(app.Metadata(),
            (std::vector<tizen::AppInfo::MetadataEntry>{{"k", "1"}, {"a", "2"}, {"k", "3"}}));
  EXPECT_EQ(app.Package().RootPath(), "/opt/pkg");
  EXPECT_FALSE(app.Package().IsPreloaded());
}

TEST_F(TizenWrappers, PassPackageEvents) {
  tizen::PackageManager manager(support::kLibraryTag);
  Strings received;
  manager.SetPackageManagerEventCallback(
      [&](const char* type, const char* package, package_manager_event_type_e event,
          package_manager_event_state_e state, int, package_manager_error_e) {
        received.push_back(std::string(type ? type : "(null)") + " " + package + " " +
                           std::to_string(event) + " " + std::to_string(state));
      });
  fake::RaisePackageEvent("tpk", "a", PACKAGE_MANAGER_EVENT_TYPE_INSTALL,
                          PACKAGE_MANAGER_EVENT_STATE_STARTED);
  fake::RaisePackageEvent(nullptr, "b", PACKAGE_MANAGER_EVENT_TYPE_UPDATE,
                          PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  EXPECT_EQ(received, (Strings{"tpk a 0 0", "(null) b 2 2"}));
}

TEST_F(TizenWrappers, IgnoreOtherPackageEventTypes) {
  tizen::PackageManager manager(support::kLibraryTag);
  int received = 0;
  manager.SetPackageManagerEventCallback(
      [&received](const char*, const char*, package_manager_event_type_e,
                  package_manager_event_state_e, int, package_manager_error_e) { ++received; });
  for (const int type : {3, 8, 100, -1}) {
    fake::RaisePackageEvent("tpk", "a", type, PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  }
  EXPECT_EQ(received, 0);
  fake::RaisePackageEvent("tpk", "a", PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL,
                          PACKAGE_MANAGER_EVENT_STATE_STARTED);
  EXPECT_EQ(received, 1);
}

TEST_F(TizenWrappers, CatchExceptionsOfEventCallback) {
  tizen::PackageManager manager(support::kLibraryTag);
  manager.SetPackageManagerEventCallback(
      [](const char*, const char*, package_manager_event_type_e, package_manager_event_state_e, int,
         package_manager_error_e) { throw std::runtime_error("test error"); });
  EXPECT_NO_THROW(fake::RaisePackageEvent("tpk", "a", PACKAGE_MANAGER_EVENT_TYPE_INSTALL,
                                          PACKAGE_MANAGER_EVENT_STATE_STARTED));
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 1u);
}

TEST_F(TizenWrappers, AllowEventCallbackToDestroyOwner) {
  auto manager = std::make_unique<tizen::PackageManager>(support::kLibraryTag);
  const auto token = std::make_shared<int>(0);
  manager->SetPackageManagerEventCallback(
      [&manager, token](const char*, const char*, package_manager_event_type_e,
                        package_manager_event_state_e, int, package_manager_error_e) {
        manager.reset();
        EXPECT_GE(token.use_count(), 2);  // the callback itself is still alive
      });
  fake::RaisePackageEvent("tpk", "a", PACKAGE_MANAGER_EVENT_TYPE_INSTALL,
                          PACKAGE_MANAGER_EVENT_STATE_STARTED);
  EXPECT_EQ(manager, nullptr);
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(TizenWrappers, RethrowExceptionOfEnumeration) {
  struct Refusing {
    explicit Refusing(int number) {
      if (number == 2) throw std::runtime_error("no two");
    }
  };
  tizen::Collector<Refusing> collector;
  EXPECT_TRUE(collector.Add(1));
  EXPECT_FALSE(collector.Add(2));
  EXPECT_THROW(collector.Take(), std::runtime_error);
}

TEST_F(TizenWrappers, ReturnFallbackWhenCallbackThrows) {
  const auto guard = [](auto body) {
    return tizen::GuardCallback(support::kLibraryTag, "/a/file.cc", "Function", 12, -1, body);
  };
  EXPECT_EQ(guard([] { return 7; }), 7);
  EXPECT_EQ(guard([]() -> int { throw std::runtime_error("test error"); }), -1);
  EXPECT_EQ(guard([]() -> int { throw 7; }), -1);
  EXPECT_EQ(
      support::LoggedTexts(DLOG_ERROR),
      (Strings{support::ErrorLine("file.cc", "Function", 12, "Exception in a callback: test error"),
               support::ErrorLine("file.cc", "Function", 12, "Exception in a callback: unknown")}));
}

class ThreadUtils : public support::PlatformTest {};

TEST_F(ThreadUtils, RunsAtOnceOnMainThread) {
  bool ran = false;
  tizen::ThreadUtils::InvokeOnMainThreadSync([&ran] { ran = true; });
  EXPECT_TRUE(ran);
}

TEST_F(ThreadUtils, RunsOnMainThreadForOtherThreads) {
  std::thread::id ran_on;
  std::atomic<bool> done{false};
  std::thread caller([&] {
    tizen::ThreadUtils::InvokeOnMainThreadSync([&] { ran_on = std::this_thread::get_id(); });
    done = true;
  });
  EXPECT_TRUE(fake::RunUntil([&done] { return done.load(); }));
  caller.join();
  EXPECT_EQ(ran_on, std::this_thread::get_id());
}

TEST_F(ThreadUtils, RethrowsExceptions) {
  EXPECT_THROW(tizen::ThreadUtils::InvokeOnMainThreadSync([] { throw std::runtime_error(""); }),
               std::runtime_error);
  std::atomic<bool> done{false};
  std::thread caller([&] {
    EXPECT_THROW(tizen::ThreadUtils::InvokeOnMainThreadSync([] { throw 7; }), int);
    done = true;
  });
  EXPECT_TRUE(fake::RunUntil([&done] { return done.load(); }));
  caller.join();
}

class TimerWrapper : public support::PlatformTest {
 protected:
  // Starts a timer whose owner is the wrapper itself.
  bool Start(EcoreTimerWrapper& wrapper, double seconds) {
    return wrapper.Start(seconds, timers_, [&wrapper] { return &wrapper; });
  }

  EcoreTimerGroup timers_{support::kLibraryTag};
  int fired_ = 0;
  std::function<bool()> count_ = [this] {
    ++fired_;
    return false;
  };
};

TEST_F(TimerWrapper, HasNoTimerInitially) {
  EcoreTimerWrapper wrapper(count_);
  EXPECT_FALSE(wrapper.IsRunning());
  wrapper.Stop();
  wrapper.SetInterval(1.0);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(TimerWrapper, RunsTaskOnce) {
  EcoreTimerWrapper wrapper(count_);
  ASSERT_TRUE(Start(wrapper, 1.0));
  EXPECT_TRUE(wrapper.IsRunning());
  fake::Advance(5);
  EXPECT_EQ(fired_, 1);
  EXPECT_FALSE(wrapper.IsRunning());
}

TEST_F(TimerWrapper, RepeatsWhileTaskReturnsTrue) {
  EcoreTimerWrapper wrapper([this] { return ++fired_ < 3; });
  ASSERT_TRUE(Start(wrapper, 1.0));
  fake::Advance(10);
  EXPECT_EQ(fired_, 3);
}

TEST_F(TimerWrapper, ReplacesTimer) {
  EcoreTimerWrapper wrapper(count_);
  ASSERT_TRUE(Start(wrapper, 1.0));
  ASSERT_TRUE(Start(wrapper, 2.0));
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 2.0);
}

TEST_F(TimerWrapper, ReturnsFalseWhenPlatformCreatesNoTimer) {
  EcoreTimerWrapper wrapper(count_);
  ASSERT_TRUE(Start(wrapper, 1.0));
  fake::Fail("ecore_timer_add", -12);
  EXPECT_FALSE(Start(wrapper, 2.0));
  EXPECT_FALSE(wrapper.IsRunning());
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(TimerWrapper, DoesNotPassNaNToPlatform) {
  EcoreTimerWrapper wrapper(count_);
  for (const double seconds : support::kNaNs) {
    EXPECT_FALSE(Start(wrapper, seconds));
    EXPECT_FALSE(wrapper.IsRunning());
  }
  ASSERT_TRUE(Start(wrapper, 1.0));
  for (const double seconds : support::kNaNs) wrapper.SetInterval(seconds);
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_EQ(fake::Timers()[0].interval, 1.0);
  EXPECT_EQ(fake::CallCount("ecore_timer_add"), 1);
  EXPECT_EQ(fake::CallCount("ecore_timer_interval_set"), 0);
}

TEST_F(TimerWrapper, DeletesTimerInDestructor) {
  {
    EcoreTimerWrapper wrapper(count_);
    ASSERT_TRUE(Start(wrapper, 1.0));
  }
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(TimerWrapper, LeavesExpiredTimerToLoop) {
  {
    EcoreTimerWrapper wrapper(count_);
    ASSERT_TRUE(wrapper.Start(1.0, timers_, [] { return nullptr; }));
    wrapper.SetExpired();
  }
  EXPECT_EQ(fake::CallCount("ecore_timer_del"), 0);
  fake::Advance(5);
  EXPECT_EQ(fired_, 0);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(TimerWrapper, CanBeDestroyedByTask) {
  auto wrapper = std::make_unique<EcoreTimerWrapper>(nullptr);
  const auto token = std::make_shared<int>(0);
  wrapper->SetTask([this, &wrapper, token] {
    wrapper.reset();
    ++fired_;
    EXPECT_GE(token.use_count(), 2);  // the task itself is still alive
    return true;
  });
  ASSERT_TRUE(Start(*wrapper, 1.0));
  fake::Advance(5);
  EXPECT_EQ(fired_, 1);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(TimerWrapper, CanRestartInTask) {
  EcoreTimerWrapper wrapper(nullptr);
  wrapper.SetTask([this, &wrapper] {
    if (++fired_ == 1) Start(wrapper, 2.0);
    return false;
  });
  ASSERT_TRUE(Start(wrapper, 1.0));
  fake::Advance(2);
  EXPECT_EQ(fired_, 1);
  EXPECT_TRUE(wrapper.IsRunning());
  fake::Advance(1);
  EXPECT_EQ(fired_, 2);
  EXPECT_FALSE(wrapper.IsRunning());
}

TEST_F(TimerWrapper, CatchesExceptionsOfTask) {
  EcoreTimerWrapper empty(nullptr);
  EcoreTimerWrapper throwing([]() -> bool { throw std::runtime_error("test error"); });
  ASSERT_TRUE(Start(empty, 1.0));
  ASSERT_TRUE(Start(throwing, 1.0));
  EXPECT_NO_THROW(fake::Advance(5));
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 2u);
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(TimerWrapper, DeletesTimerOnMainThread) {
  auto wrapper = std::make_unique<EcoreTimerWrapper>(count_);
  ASSERT_TRUE(Start(*wrapper, 1.0));
  std::atomic<bool> done{false};
  std::thread other([&] {
    wrapper.reset();
    done = true;
  });
  EXPECT_TRUE(fake::RunUntil([&done] { return done.load(); }));
  other.join();
  EXPECT_TRUE(fake::Timers().empty());
}

}  // namespace
