// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_info.h>
#include <app_manager.h>
#include <gmock/gmock.h>
#include <package_manager.h>

#include <cstdlib>
#include <set>
#include <vector>

#include "traits.h"

namespace {

using conformance::InstallPackage;
using conformance::RunLoopUntil;
using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;
using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string Take(int error, char* text) {
  if (error != 0) return "(error " + std::to_string(error) + ")";
  const std::string copy = text;
  std::free(text);
  return copy;
}

class Packages : public conformance::Test {
 protected:
  static int ListPrivileges(package_info_h info, std::vector<std::string>* privileges) {
    return package_info_foreach_privilege_info(
        info,
        [](const char* privilege, void* data) {
          static_cast<std::vector<std::string>*>(data)->emplace_back(privilege);
          return true;
        },
        privileges);
  }

  static int ListPackages(std::set<std::string>* found) {
    return package_manager_foreach_package_info(
        [](package_info_h info, void* data) {
          char* id = nullptr;
          const int error = package_info_get_package(info, &id);
          static_cast<std::set<std::string>*>(data)->insert(Take(error, id));
          return true;
        },
        found);
  }

  // One package of two applications.
  void InstallPair() {
    InstallPackage({"org.example.pair",
                    {{"org.example.pair.b", {{"z", "1"}, {"a", "2"}}}, {"org.example.pair.a", {}}},
                    {"http://tizen.org/privilege/datasharing"}});
  }

  // One package of one application, with a metadata key that occurs twice.
  void InstallRepeating() {
    InstallPackage({"org.example.repeat",
                    {{"org.example.repeat.app", {{"z", "1"}, {"a", "2"}, {"z", "3"}}}},
                    {}});
  }

  Pairs Metadata(const char* app_id) {
    app_info_h info = nullptr;
    EXPECT_EQ(app_info_create(app_id, &info), APP_MANAGER_ERROR_NONE);
    Pairs metadata;
    EXPECT_EQ(app_info_foreach_metadata(
                  info,
                  [](const char* key, const char* value, void* data) {
                    static_cast<Pairs*>(data)->emplace_back(key, value);
                    return true;
                  },
                  &metadata),
              APP_MANAGER_ERROR_NONE);
    EXPECT_EQ(app_info_destroy(info), APP_MANAGER_ERROR_NONE);
    return metadata;
  }

  std::set<std::string> Filter(const std::vector<std::pair<const char*, const char*>>& conditions) {
    app_info_metadata_filter_h filter = nullptr;
    EXPECT_EQ(app_info_metadata_filter_create(&filter), APP_MANAGER_ERROR_NONE);
    for (const auto& [key, value] : conditions) {
      EXPECT_EQ(app_info_metadata_filter_add(filter, key, value), APP_MANAGER_ERROR_NONE);
    }
    std::set<std::string> found;
    EXPECT_EQ(app_info_metadata_filter_foreach(
                  filter,
                  [](app_info_h info, void* data) {
                    char* id = nullptr;
                    const int error = app_info_get_app_id(info, &id);
                    static_cast<std::set<std::string>*>(data)->insert(Take(error, id));
                    return true;
                  },
                  &found),
              APP_MANAGER_ERROR_NONE);
    EXPECT_EQ(app_info_metadata_filter_destroy(filter), APP_MANAGER_ERROR_NONE);
    return found;
  }
};

DOCUMENTED_TEST(Packages, TellsOfAPackage) {
  InstallPair();
  package_info_h info = nullptr;
  ASSERT_EQ(package_info_create("org.example.pair", &info), PACKAGE_MANAGER_ERROR_NONE);
  char* text = nullptr;
  int error = package_info_get_package(info, &text);
  EXPECT_EQ(Take(error, text), "org.example.pair");
  error = package_info_get_type(info, &text);
  EXPECT_EQ(Take(error, text), "tpk");
  error = package_info_get_root_path(info, &text);
  EXPECT_EQ(Take(error, text).front(), '/');
  bool preloaded = true;
  EXPECT_EQ(package_info_is_preload_package(info, &preloaded), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_FALSE(preloaded);
  EXPECT_EQ(package_info_destroy(info), PACKAGE_MANAGER_ERROR_NONE);
}

LINUX_TEST(Packages, HasARootPathWithoutTrailingSlash) {
  InstallPair();
  package_info_h info = nullptr;
  ASSERT_EQ(package_info_create("org.example.pair", &info), PACKAGE_MANAGER_ERROR_NONE);
  char* text = nullptr;
  const int error = package_info_get_root_path(info, &text);
  EXPECT_NE(Take(error, text).back(), '/');
  EXPECT_EQ(package_info_destroy(info), PACKAGE_MANAGER_ERROR_NONE);
}

// The documentation does not specify that an enumeration is complete on return.
DOCUMENTED_TEST(Packages, ListsApplications) {
  InstallPair();
  package_info_h info = nullptr;
  ASSERT_EQ(package_manager_get_package_info("org.example.pair", &info),
            PACKAGE_MANAGER_ERROR_NONE);
  std::multiset<std::string> apps;
  EXPECT_EQ(package_info_foreach_app_from_package(
                info, PACKAGE_INFO_ALLAPP,
                [](package_info_app_component_type_e, const char* id, void* data) {
                  static_cast<std::multiset<std::string>*>(data)->insert(id);
                  return true;
                },
                &apps),
            PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(RunLoopUntil([&apps] { return apps.size() >= 2; }));
  EXPECT_THAT(apps, ElementsAre("org.example.pair.a", "org.example.pair.b"));
  EXPECT_EQ(package_info_destroy(info), PACKAGE_MANAGER_ERROR_NONE);
}

LINUX_TEST(Packages, ListsApplicationsInManifestOrderBeforeReturning) {
  InstallPair();
  package_info_h info = nullptr;
  ASSERT_EQ(package_manager_get_package_info("org.example.pair", &info),
            PACKAGE_MANAGER_ERROR_NONE);
  std::vector<std::string> apps;
  EXPECT_EQ(package_info_foreach_app_from_package(
                info, PACKAGE_INFO_ALLAPP,
                [](package_info_app_component_type_e, const char* id, void* data) {
                  static_cast<std::vector<std::string>*>(data)->emplace_back(id);
                  return true;
                },
                &apps),
            PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(apps, (std::vector<std::string>{"org.example.pair.b", "org.example.pair.a"}));
  EXPECT_EQ(package_info_destroy(info), PACKAGE_MANAGER_ERROR_NONE);
}

DOCUMENTED_TEST(Packages, StopsListingApplicationsWhenTold) {
  InstallPair();
  package_info_h info = nullptr;
  ASSERT_EQ(package_info_create("org.example.pair", &info), PACKAGE_MANAGER_ERROR_NONE);
  int visits = 0;
  EXPECT_EQ(package_info_foreach_app_from_package(
                info, PACKAGE_INFO_ALLAPP,
                [](package_info_app_component_type_e, const char*, void* data) {
                  ++*static_cast<int*>(data);
                  return false;
                },
                &visits),
            PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(RunLoopUntil([&visits] { return visits > 0; }));
  EXPECT_EQ(visits, 1);
  EXPECT_EQ(package_info_destroy(info), PACKAGE_MANAGER_ERROR_NONE);
}

DOCUMENTED_TEST(Packages, ListsPrivileges) {
  InstallPair();
  package_info_h info = nullptr;
  ASSERT_EQ(package_info_create("org.example.pair", &info), PACKAGE_MANAGER_ERROR_NONE);
  std::vector<std::string> privileges;
  EXPECT_EQ(ListPrivileges(info, &privileges), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(RunLoopUntil([&privileges] { return !privileges.empty(); }));
  EXPECT_THAT(privileges, ElementsAre("http://tizen.org/privilege/datasharing"));
  EXPECT_EQ(package_info_destroy(info), PACKAGE_MANAGER_ERROR_NONE);
}

LINUX_TEST(Packages, ListsPrivilegesBeforeReturning) {
  InstallPair();
  package_info_h info = nullptr;
  ASSERT_EQ(package_info_create("org.example.pair", &info), PACKAGE_MANAGER_ERROR_NONE);
  std::vector<std::string> privileges;
  EXPECT_EQ(ListPrivileges(info, &privileges), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_THAT(privileges, ElementsAre("http://tizen.org/privilege/datasharing"));
  EXPECT_EQ(package_info_destroy(info), PACKAGE_MANAGER_ERROR_NONE);
}

DOCUMENTED_TEST(Packages, ListsEveryPackage) {
  InstallPair();
  InstallPackage({"org.example.other", {{"org.example.other.app", {}}}, {}});
  std::set<std::string> found;
  EXPECT_EQ(ListPackages(&found), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(RunLoopUntil([&found] {
    return found.count("org.example.pair") != 0 && found.count("org.example.other") != 0;
  }));
}

// Devices have other packages installed.
LINUX_TEST(Packages, ListsExactlyTheInstalledPackagesBeforeReturning) {
  InstallPair();
  InstallPackage({"org.example.other", {{"org.example.other.app", {}}}, {}});
  std::set<std::string> found;
  EXPECT_EQ(ListPackages(&found), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(found, (std::set<std::string>{"org.example.pair", "org.example.other"}));
}

DOCUMENTED_TEST(Packages, TellsOfAnApplication) {
  InstallPair();
  app_info_h info = nullptr;
  ASSERT_EQ(app_manager_get_app_info("org.example.pair.b", &info), APP_MANAGER_ERROR_NONE);
  char* text = nullptr;
  int error = app_info_get_app_id(info, &text);
  EXPECT_EQ(Take(error, text), "org.example.pair.b");
  error = app_info_get_package(info, &text);
  EXPECT_EQ(Take(error, text), "org.example.pair");
  EXPECT_EQ(app_info_destroy(info), APP_MANAGER_ERROR_NONE);
}

DOCUMENTED_TEST(Packages, ListsMetadata) {
  InstallPair();
  EXPECT_THAT(Metadata("org.example.pair.b"), UnorderedElementsAre(Pair("z", "1"), Pair("a", "2")));
}

LINUX_TEST(Packages, ListsMetadataInManifestOrder) {
  InstallRepeating();
  EXPECT_EQ(Metadata("org.example.repeat.app"), (Pairs{{"z", "1"}, {"a", "2"}, {"z", "3"}}));
}

DOCUMENTED_TEST(Packages, FindsApplicationsByAMetadataKey) {
  InstallPair();
  EXPECT_EQ(Filter({{"z", nullptr}}), std::set<std::string>{"org.example.pair.b"});
  EXPECT_EQ(Filter({{"unknown", nullptr}}), std::set<std::string>{});
}

DOCUMENTED_TEST(Packages, FindsApplicationsByAMetadataValue) {
  InstallPair();
  EXPECT_EQ(Filter({{"z", "1"}}), std::set<std::string>{"org.example.pair.b"});
  EXPECT_EQ(Filter({{"z", "2"}}), std::set<std::string>{});
}

LINUX_TEST(Packages, FindsApplicationsByAnyValueOfARepeatedKey) {
  InstallRepeating();
  EXPECT_EQ(Filter({{"z", "3"}}), std::set<std::string>{"org.example.repeat.app"});
  EXPECT_EQ(Filter({{"z", "2"}}), std::set<std::string>{});
}

LINUX_TEST(Packages, FindsApplicationsThatMeetEveryCondition) {
  InstallPair();
  EXPECT_EQ(Filter({{"z", "1"}, {"a", nullptr}}), std::set<std::string>{"org.example.pair.b"});
  EXPECT_EQ(Filter({{"z", "1"}, {"unknown", nullptr}}), std::set<std::string>{});
}

DOCUMENTED_TEST(Packages, KnowsNoUnknownIds) {
  package_info_h package = nullptr;
  app_info_h app = nullptr;
  EXPECT_EQ(package_info_create("org.example.missing", &package),
            PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE);
  EXPECT_NE(package_manager_get_package_info("org.example.missing", &package),
            PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(app_info_create("org.example.missing", &app), APP_MANAGER_ERROR_NO_SUCH_APP);
  EXPECT_EQ(app_manager_get_app_info("org.example.missing", &app), APP_MANAGER_ERROR_NO_SUCH_APP);
}

LINUX_TEST(Packages, LeavesTheOutputWhenAnIdIsUnknown) {
  package_info_h package = nullptr;
  app_info_h app = nullptr;
  EXPECT_NE(package_info_create("org.example.missing", &package), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(package_manager_get_package_info("org.example.missing", &package),
            PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE);
  EXPECT_NE(app_info_create("org.example.missing", &app), APP_MANAGER_ERROR_NONE);
  EXPECT_NE(app_manager_get_app_info("org.example.missing", &app), APP_MANAGER_ERROR_NONE);
  EXPECT_EQ(package, nullptr);
  EXPECT_EQ(app, nullptr);
}

LINUX_TEST(Packages, RefusesNullArguments) {
  package_info_h package = nullptr;
  app_info_h app = nullptr;
  EXPECT_EQ(package_info_create(nullptr, &package), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(package_info_create("id", nullptr), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(package_info_destroy(nullptr), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_info_create(nullptr, &app), APP_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_info_destroy(nullptr), APP_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(package_manager_create(nullptr), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(package_manager_destroy(nullptr), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
}

// The events that a package manager received.
class PackageEvents : public conformance::Test {
 protected:
  struct Event {
    std::string type;
    std::string package;
    package_manager_event_type_e event_type;
    package_manager_event_state_e state;
    bool in_database;
  };

  void SetUp() override {
    Test::SetUp();
    ASSERT_EQ(package_manager_create(&manager_), PACKAGE_MANAGER_ERROR_NONE);
    ASSERT_EQ(package_manager_set_event_cb(manager_, Note, this), PACKAGE_MANAGER_ERROR_NONE);
  }

  void TearDown() override {
    if (manager_) {
      EXPECT_EQ(package_manager_destroy(manager_), PACKAGE_MANAGER_ERROR_NONE);
    }
    Test::TearDown();
  }

  static void Note(const char* type, const char* package, package_manager_event_type_e event_type,
                   package_manager_event_state_e state, int, package_manager_error_e, void* data) {
    auto* test = static_cast<PackageEvents*>(data);
    package_info_h info = nullptr;
    const bool found = package_info_create(package, &info) == PACKAGE_MANAGER_ERROR_NONE;
    if (found) package_info_destroy(info);
    test->events_.push_back({type, package, event_type, state, found});
    if (test->on_event_) test->on_event_();
  }

  void ListenTo(int status) {
    ASSERT_EQ(package_manager_set_event_status(manager_, status), PACKAGE_MANAGER_ERROR_NONE);
  }

  const Event* Find(package_manager_event_type_e type, package_manager_event_state_e state) {
    for (const Event& event : events_) {
      if (event.event_type == type && event.state == state) return &event;
    }
    return nullptr;
  }

  bool WaitFor(package_manager_event_type_e type, package_manager_event_state_e state) {
    return RunLoopUntil([this, type, state] { return Find(type, state) != nullptr; });
  }

  package_manager_h manager_ = nullptr;
  std::vector<Event> events_;
  std::function<void()> on_event_;
};

const conformance::Package& Single() {
  static const conformance::Package package{
      "org.example.single", {{"org.example.single.app", {}}}, {}};
  return package;
}

DOCUMENTED_TEST(PackageEvents, TellOfACompletedInstallation) {
  ListenTo(PACKAGE_MANAGER_STATUS_TYPE_INSTALL);
  InstallPackage(Single());
  ASSERT_TRUE(WaitFor(PACKAGE_MANAGER_EVENT_TYPE_INSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED));
  const Event* completed =
      Find(PACKAGE_MANAGER_EVENT_TYPE_INSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  EXPECT_EQ(completed->package, "org.example.single");
  EXPECT_TRUE(completed->in_database);
}

LINUX_TEST(PackageEvents, TellAnInstallationOfANativePackageFromStartToEnd) {
  ListenTo(PACKAGE_MANAGER_STATUS_TYPE_INSTALL);
  InstallPackage(Single());
  ASSERT_TRUE(WaitFor(PACKAGE_MANAGER_EVENT_TYPE_INSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED));
  EXPECT_EQ(events_.front().state, PACKAGE_MANAGER_EVENT_STATE_STARTED);
  const Event& last = events_.back();
  EXPECT_EQ(last.state, PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  EXPECT_EQ(last.type, "tpk");
  EXPECT_EQ(last.package, "org.example.single");
  EXPECT_TRUE(last.in_database);
}

DOCUMENTED_TEST(PackageEvents, TellOfARemovalThatStartsAndCompletes) {
  InstallPackage(Single());
  ListenTo(PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL);
  conformance::UninstallPackage("org.example.single");
  EXPECT_TRUE(WaitFor(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_STARTED));
  EXPECT_TRUE(WaitFor(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED));
}

LINUX_TEST(PackageEvents, TellARemovalWhileThePackageIsStillThere) {
  InstallPackage(Single());
  ListenTo(PACKAGE_MANAGER_STATUS_TYPE_ALL);
  conformance::UninstallPackage("org.example.single");
  ASSERT_TRUE(WaitFor(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED));
  const Event* started =
      Find(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_STARTED);
  ASSERT_NE(started, nullptr);
  EXPECT_TRUE(started->in_database);
  EXPECT_FALSE(events_.back().in_database);
}

LINUX_TEST(PackageEvents, DoNotComeUntilAskedFor) {
  InstallPackage(Single());
  ListenTo(PACKAGE_MANAGER_STATUS_TYPE_ALL);
  conformance::UninstallPackage("org.example.single");
  ASSERT_TRUE(WaitFor(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED));
  EXPECT_EQ(Find(PACKAGE_MANAGER_EVENT_TYPE_INSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED),
            nullptr);
}

DOCUMENTED_TEST(PackageEvents, AreOnlyOfTheKindsAskedFor) {
  ListenTo(PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL);
  InstallPackage(Single());
  conformance::UninstallPackage("org.example.single");
  ASSERT_TRUE(WaitFor(PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED));
  EXPECT_EQ(Find(PACKAGE_MANAGER_EVENT_TYPE_INSTALL, PACKAGE_MANAGER_EVENT_STATE_COMPLETED),
            nullptr);
}

LINUX_TEST(PackageEvents, AllowTheManagersEndInTheCallback) {
  ListenTo(PACKAGE_MANAGER_STATUS_TYPE_ALL);
  on_event_ = [this] {
    if (!manager_) return;
    EXPECT_EQ(package_manager_destroy(manager_), PACKAGE_MANAGER_ERROR_NONE);
    manager_ = nullptr;
  };
  InstallPackage(Single());
  ASSERT_TRUE(RunLoopUntil([this] { return manager_ == nullptr; }));
  EXPECT_EQ(events_.size(), 1u);
}

}  // namespace
