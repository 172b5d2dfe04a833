// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/installed-apps-source.h"

#include <climits>
#include <set>

#include "handlers/config-text.h"
#include "library-test.h"
#include "tizen/exception.h"

namespace {

using handlers::InstalledAppsSource;
using support::InstallHandler;
using support::InstallPackage;
using support::kAnyLine;
using Ids = std::vector<std::string>;

// Records "+id", "-id" and "*id" for added, removed and updated handlers.
class Listener : public common::IObserver<const handlers::HandlerAdded&>,
                 public common::IObserver<const handlers::HandlerRemoved&>,
                 public common::IObserver<const handlers::HandlerUpdated&> {
 public:
  void Update(const handlers::HandlerAdded& event) override { Note("+", event.handler); }
  void Update(const handlers::HandlerRemoved& event) override { Note("-", event.handler); }
  void Update(const handlers::HandlerUpdated& event) override { Note("*", event.handler); }

  Ids received;

 private:
  void Note(const std::string& sign, const std::shared_ptr<handlers::BaseHandler>& handler) {
    received.push_back(sign + handler->Id());
  }
};

class InstalledApps : public support::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    source_ = std::make_shared<InstalledAppsSource>();
    source_->AttachToAll(listener_);
  }

  void TearDown() override {
    source_.reset();
    PlatformTest::TearDown();
  }

  Ids Load() {
    Ids ids;
    for (const auto& handler : source_->Load()) ids.push_back(handler->Id());
    return ids;
  }

  // Installs applications of one package that share a configuration file.
  static void InstallSharing(const std::string& package_id, const Ids& apps,
                             const std::string& text) {
    fake::Package package;
    package.id = package_id;
    package.root_path = fake::DataPath() + "packages/" + package_id;
    for (const std::string& id : apps) {
      fake::App app;
      app.id = id;
      app.metadata.emplace_back(support::kCommandHandlerKey, "shared.yaml");
      package.apps.push_back(app);
    }
    support::WriteFile("packages/" + package_id + "/shared.yaml", text);
    fake::Install(package);
  }

  static int Errors(const std::string& function, const std::string& message) {
    return support::CountLogged(
        DLOG_ERROR, support::ErrorLine("installed-apps-source.cc", function, kAnyLine, message));
  }

  static std::string PlatformText(const std::string& call, int error) {
    return tizen::Exception(call, error).what();
  }

  std::shared_ptr<InstalledAppsSource> source_;
  std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
};

TEST_F(InstalledApps, LoadsManifests) {
  InstallHandler("a", {"x", "y"}, "7");
  const auto loaded = source_->Load();
  ASSERT_EQ(loaded.size(), 1u);
  EXPECT_EQ(loaded[0]->Id(), "a");
  EXPECT_EQ(loaded[0]->RequestTypes(), (std::set<std::string>{"x", "y"}));
  EXPECT_EQ(loaded[0]->Priority(), 7);
}

TEST_F(InstalledApps, LoadsInPackageOrder) {
  InstallPackage("pkg", {{"b", {{"x"}}}, {"a", {{"y"}}}});
  EXPECT_EQ(Load(), (Ids{"b", "a"}));
}

TEST_F(InstalledApps, LoadsEachHandlerOfPackageOnce) {
  InstallPackage("pkg", {{"a", {{"x"}}}, {"b", {{"x"}}}, {"c", {{"x"}}}});
  EXPECT_EQ(Load().size(), 3u);
}

TEST_F(InstalledApps, ParsesSharedFileOncePerPackage) {
  InstallSharing("pkg", {"a", "b", "c"}, "request-types: [shared]\n");
  std::vector<std::set<std::string>> types;
  source_->ForeachHandlerInPackage("pkg", [&](const auto& handler) {
    types.push_back(handler->RequestTypes());
    support::WriteFile("packages/pkg/shared.yaml", "request-types: [changed]\n");
  });
  EXPECT_EQ(types, (std::vector<std::set<std::string>>(3, {"shared"})));
  EXPECT_EQ(source_->Load().at(0)->RequestTypes(), std::set<std::string>{"changed"});
}

TEST_F(InstalledApps, LimitsParseCostPerPackage) {
  std::string text = "request-types: [type]\n#";
  text.resize(handlers::kMaxParseCost / 3, '#');
  InstallSharing("pkg", {"a", "b", "c"}, text);
  InstallSharing("third", {"d"}, text);
  support::RaiseInstalled("pkg");
  support::RaiseInstalled("third");
  EXPECT_EQ(listener_->received, (Ids{"+a", "+b", "+d"}));
  EXPECT_EQ(Load(), (Ids{"a", "b", "d"}));
}

TEST_F(InstalledApps, SkipsAppsWithoutRequestTypes) {
  InstallPackage(
      "pkg",
      {{"plain", std::nullopt}, {"empty", {std::vector<std::string>{}}}, {"handler", {{"x"}}}});
  InstallPackage("other", {{"unregistered", std::nullopt}});
  EXPECT_EQ(Load(), Ids{"handler"});
}

TEST_F(InstalledApps, LoadsNothingWhenPackageFails) {
  InstallHandler("a", {"x"});
  InstallHandler("b", {"x"});
  InstallHandler("c", {"x"});
  fake::Fail("package_info_foreach_app_from_package", -5, 2);
  EXPECT_EQ(Load(), Ids{});
  EXPECT_EQ(Errors("Load", "Unable to load handlers: " +
                               PlatformText("package_info_foreach_app_from_package", -5)),
            1);
}

TEST_F(InstalledApps, LoadsNothingWhenApplicationFails) {
  InstallHandler("a", {"x"});
  InstallHandler("b", {"x"});
  fake::Fail("app_manager_get_app_info", -5, 2);
  EXPECT_EQ(Load(), Ids{});
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 1u);
}

TEST_F(InstalledApps, LoadsNothingWhenPackagesCannotBeListed) {
  InstallHandler("a", {"x"});
  for (const char* function : {"app_info_metadata_filter_create", "app_info_metadata_filter_add",
                               "app_info_metadata_filter_foreach", "app_info_get_package",
                               "package_manager_get_package_info"}) {
    fake::ClearLog();
    fake::Fail(function, -13);
    EXPECT_EQ(Load(), Ids{}) << function;
    EXPECT_EQ(Errors("Load", "Unable to load handlers: " + PlatformText(function, -13)), 1)
        << function;
  }
  EXPECT_EQ(Load(), Ids{"a"});
}

TEST_F(InstalledApps, NotifiesOfInstalledHandler) {
  InstallHandler("a", {"x"});
  support::RaiseInstalled("package.a");
  EXPECT_EQ(listener_->received, Ids{"+a"});
  EXPECT_EQ(support::CountLogged(
                DLOG_DEBUG, support::PlainLine("installed-apps-source.cc", "operator()", kAnyLine,
                                               "Received package: package.a installed event")),
            1);
}

TEST_F(InstalledApps, NotifiesOfUpdatedHandler) {
  InstallHandler("a", {"x"});
  support::RaiseUpdated("package.a");
  EXPECT_EQ(listener_->received, Ids{"*a"});
  EXPECT_EQ(support::CountLogged(
                DLOG_DEBUG, support::PlainLine("installed-apps-source.cc", "operator()", kAnyLine,
                                               "Received package: package.a updated event")),
            1);
}

TEST_F(InstalledApps, NotifiesOfRemovedHandlerAtStartOfUninstall) {
  InstallHandler("a", {"x"});
  support::RaiseUninstalling("package.a");
  EXPECT_EQ(listener_->received, Ids{"-a"});
  EXPECT_EQ(support::CountLogged(
                DLOG_DEBUG, support::PlainLine("installed-apps-source.cc", "operator()", kAnyLine,
                                               "Received package: package.a uninstalled event")),
            1);
}

TEST_F(InstalledApps, IgnoresOtherPackageTypes) {
  InstallHandler("a", {"x"});
  for (const char* type : {"wgt", "TPK", "tpk ", ""}) {
    fake::RaisePackageEvent(type, "package.a", PACKAGE_MANAGER_EVENT_TYPE_INSTALL,
                            PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  }
  fake::RaisePackageEvent(nullptr, "package.a", PACKAGE_MANAGER_EVENT_TYPE_INSTALL,
                          PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  EXPECT_TRUE(listener_->received.empty());
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(InstalledApps, IgnoresOtherEventStates) {
  InstallHandler("a", {"x"});
  const auto raise = [](package_manager_event_type_e type, package_manager_event_state_e state) {
    fake::RaisePackageEvent("tpk", "package.a", type, state);
  };
  for (const auto type : {PACKAGE_MANAGER_EVENT_TYPE_INSTALL, PACKAGE_MANAGER_EVENT_TYPE_UPDATE}) {
    raise(type, PACKAGE_MANAGER_EVENT_STATE_STARTED);
    raise(type, PACKAGE_MANAGER_EVENT_STATE_PROCESSING);
    raise(type, PACKAGE_MANAGER_EVENT_STATE_FAILED);
  }
  raise(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_PROCESSING);
  raise(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  raise(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_FAILED);
  EXPECT_TRUE(listener_->received.empty());
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(InstalledApps, IgnoresEventTypesOfNewerDevices) {
  InstallHandler("a", {"x"});
  const int highest = PACKAGE_MANAGER_EVENT_TYPE_RES_UNINSTALL;
  std::vector<int> types = {-1, highest + 1, 100, INT_MIN, INT_MAX};
  for (int type = PACKAGE_MANAGER_EVENT_TYPE_MOVE; type <= highest; ++type) types.push_back(type);
  for (const int type : types) {
    for (const auto state :
         {PACKAGE_MANAGER_EVENT_STATE_STARTED, PACKAGE_MANAGER_EVENT_STATE_PROCESSING,
          PACKAGE_MANAGER_EVENT_STATE_COMPLETED, PACKAGE_MANAGER_EVENT_STATE_FAILED}) {
      fake::RaisePackageEvent("tpk", "package.a", type, state);
      EXPECT_EQ(listener_->received, Ids{}) << type << " " << state;
      EXPECT_TRUE(fake::Log().empty()) << type << " " << state;
    }
  }
  EXPECT_EQ(Load(), Ids{"a"});
}

TEST_F(InstalledApps, IgnoresAppsThatAreNotHandlers) {
  InstallPackage("pkg", {{"plain", std::nullopt}});
  support::RaiseInstalled("pkg");
  support::RaiseUpdated("pkg");
  support::RaiseUninstalling("pkg");
  EXPECT_TRUE(listener_->received.empty());
}

TEST_F(InstalledApps, NotifiesInPackageOrder) {
  InstallPackage("pkg", {{"b", {{"x"}}}, {"plain", std::nullopt}, {"a", {{"x"}}}});
  support::RaiseInstalled("pkg");
  EXPECT_EQ(listener_->received, (Ids{"+b", "+a"}));
}

TEST_F(InstalledApps, StopsAtFirstFailingApplication) {
  InstallPackage("pkg", {{"a", {{"x"}}}, {"b", {{"x"}}}, {"c", {{"x"}}}});
  fake::Fail("app_manager_get_app_info", -5, 2);
  support::RaiseInstalled("pkg");
  EXPECT_EQ(listener_->received, Ids{"+a"});
  EXPECT_EQ(Errors("ForeachHandlerInPackage",
                   "Tizen error occurred: " + PlatformText("app_manager_get_app_info", -5)),
            1);
}

TEST_F(InstalledApps, LogsUnknownPackage) {
  support::RaiseInstalled("missing");
  EXPECT_TRUE(listener_->received.empty());
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 1u);
}

TEST_F(InstalledApps, CatchesExceptionsOfCallback) {
  InstallHandler("a", {"x"});
  EXPECT_NO_THROW(source_->ForeachHandlerInPackage(
      "package.a", [](std::shared_ptr<handlers::AppHandler>) { throw 7; }));
  EXPECT_EQ(Errors("ForeachHandlerInPackage", "Unknown error occurred"), 1);
}

TEST_F(InstalledApps, CatchesCallOfEmptyFunction) {
  InstallHandler("a", {"x"});
  EXPECT_NO_THROW(source_->ForeachHandlerInPackage("package.a", nullptr));
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 1u);
}

TEST_F(InstalledApps, VisitsInvalidRecords) {
  InstallPackage("pkg", {{"plain", std::nullopt}, {"a", {{"x"}}}});
  Ids visited;
  source_->ForeachHandlerInPackage("pkg", [&](std::shared_ptr<handlers::AppHandler> handler) {
    visited.push_back(handler->Id());
  });
  EXPECT_EQ(visited, (Ids{"plain", "a"}));
}

TEST_F(InstalledApps, SubscribesToHandledEventsOnly) {
  const int status = PACKAGE_MANAGER_STATUS_TYPE_INSTALL | PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL |
                     PACKAGE_MANAGER_STATUS_TYPE_UPGRADE;
  int calls = 0;
  for (const auto& call : fake::Calls()) {
    if (call.function != "package_manager_set_event_status") continue;
    ++calls;
    EXPECT_EQ(call.detail, std::to_string(status));
  }
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(fake::CallCount("package_manager_create"), 1);
}

TEST_F(InstalledApps, ReleasesPackageManager) {
  source_.reset();
  EXPECT_EQ(fake::OpenHandles(), "");
}

TEST_F(InstalledApps, ThrowsWithoutPackageManager) {
  for (const char* function : {"package_manager_create", "package_manager_set_event_status",
                               "package_manager_set_event_cb"}) {
    fake::Fail(function, -12);
    EXPECT_THROW(InstalledAppsSource(), tizen::Exception) << function;
  }
  EXPECT_EQ(fake::OpenHandles(), "1 package manager");
}

TEST_F(InstalledApps, CanBeDestroyedDuringEvent) {
  class Ender : public common::IObserver<const handlers::HandlerAdded&> {
   public:
    explicit Ender(std::shared_ptr<InstalledAppsSource>* source) : source_(source) {}
    void Update(const handlers::HandlerAdded&) override { source_->reset(); }

   private:
    std::shared_ptr<InstalledAppsSource>* source_;
  };
  // Not with make_shared: weak pointers would keep the memory and hide a use after free.
  source_ = std::shared_ptr<InstalledAppsSource>(new InstalledAppsSource);
  const auto ender = std::make_shared<Ender>(&source_);
  source_->Attach(std::weak_ptr<common::IObserver<const handlers::HandlerAdded&>>(ender));
  source_->AttachToAll(listener_);
  InstallPackage("pkg", {{"a", {{"x"}}}, {"b", {{"x"}}}});
  support::RaiseInstalled("pkg");
  EXPECT_EQ(source_, nullptr);
  EXPECT_EQ(listener_->received, (Ids{"+a", "+b"}));
}

}  // namespace
