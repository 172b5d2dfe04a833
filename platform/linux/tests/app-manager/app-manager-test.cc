// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_common.h>
#include <app_control.h>
#include <app_manager.h>
#include <gtest/gtest.h>
#include <package_manager.h>
#include <unistd.h>

#include <filesystem>

#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

using test::PackageSpec;
using test::Take;

class AppManagerTest : public test::PlatformTest {
 protected:
  // The metadata are `kind` and `name`.
  void InstallApplication(const std::string& id, const std::string& kind) {
    PackageSpec package;
    package.id = id;
    package.app_id = id + ".app";
    package.metadata = {{"kind", kind}, {"name", id}};
    ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  }

  static std::vector<std::string> Matching(const char* key, const char* value) {
    app_info_metadata_filter_h filter = nullptr;
    EXPECT_EQ(app_info_metadata_filter_create(&filter), APP_MANAGER_ERROR_NONE);
    EXPECT_EQ(app_info_metadata_filter_add(filter, key, value), APP_MANAGER_ERROR_NONE);
    std::vector<std::string> ids;
    const auto collect = [](app_info_h info, void* list) {
      char* id = nullptr;
      app_info_get_app_id(info, &id);
      static_cast<std::vector<std::string>*>(list)->push_back(Take(id));
      return true;
    };
    EXPECT_EQ(app_info_metadata_filter_foreach(filter, collect, &ids), APP_MANAGER_ERROR_NONE);
    app_info_metadata_filter_destroy(filter);
    return ids;
  }
};

// Number of this process's descriptors of the package database.
int OpenDatabases() {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry, ignored).filename() == "packages.db") ++count;
  }
  return count;
}

TEST_F(AppManagerTest, SharesDatabaseConnectionWithOtherLibraries) {
  InstallApplication("org.test.p", "handler");
  EXPECT_EQ(Matching("kind", "handler").size(), 1u);
  package_info_h package = nullptr;
  ASSERT_EQ(package_manager_get_package_info("org.test.p", &package), PACKAGE_MANAGER_ERROR_NONE);
  package_info_destroy(package);
  Take(app_get_data_path());
  EXPECT_EQ(OpenDatabases(), 1);
}

TEST_F(AppManagerTest, ReturnsInfoOfInstalledApplication) {
  InstallApplication("org.test.p", "handler");
  app_info_h info = nullptr;
  ASSERT_EQ(app_manager_get_app_info("org.test.p.app", &info), APP_MANAGER_ERROR_NONE);
  char* text = nullptr;
  app_info_get_app_id(info, &text);
  EXPECT_EQ(Take(text), "org.test.p.app");
  app_info_get_package(info, &text);
  EXPECT_EQ(Take(text), "org.test.p");
  app_info_get_exec(info, &text);
  const std::string exec = Take(text);
  EXPECT_EQ(access(exec.c_str(), X_OK), 0) << exec;
  bool preload = true;
  app_info_is_preload(info, &preload);
  EXPECT_FALSE(preload);
  std::string pairs;
  const auto append = [](const char* key, const char* value, void* list) {
    *static_cast<std::string*>(list) += std::string(key) + "=" + value + ";";
    return true;
  };
  EXPECT_EQ(app_info_foreach_metadata(info, append, &pairs), APP_MANAGER_ERROR_NONE);
  EXPECT_EQ(pairs, "kind=handler;name=org.test.p;");
  app_info_destroy(info);
}

TEST_F(AppManagerTest, ReturnsNoSuchAppForUnknownApplication) {
  app_info_h info = nullptr;
  bool running = false;
  char* id = nullptr;
  EXPECT_EQ(app_info_create("org.test.missing", &info), APP_MANAGER_ERROR_NO_SUCH_APP);
  EXPECT_EQ(app_manager_is_running("org.test.missing", &running), APP_MANAGER_ERROR_NO_SUCH_APP);
  EXPECT_EQ(app_manager_get_app_id(getpid(), &id), APP_MANAGER_ERROR_NO_SUCH_APP);
}

TEST_F(AppManagerTest, FiltersByMetadataInStableOrder) {
  InstallApplication("org.test.q", "handler");
  InstallApplication("org.test.p", "handler");
  InstallApplication("org.test.r", "other");
  EXPECT_EQ(Matching("kind", "handler"),
            (std::vector<std::string>{"org.test.p.app", "org.test.q.app"}));
  EXPECT_EQ(Matching("kind", nullptr).size(), 3U);
  EXPECT_TRUE(Matching("none", nullptr).empty());
}

TEST_F(AppManagerTest, ReportsRunningApplication) {
  PackageSpec package;
  package.executable = ServiceProgram();
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  bool running = true;
  EXPECT_EQ(app_manager_is_running("org.test.p.app", &running), APP_MANAGER_ERROR_NONE);
  EXPECT_FALSE(running);

  app_control_h request = nullptr;
  app_control_create(&request);
  app_control_set_app_id(request, "org.test.p.app");
  ASSERT_EQ(app_control_send_launch_request(request, nullptr, nullptr), APP_CONTROL_ERROR_NONE);
  app_control_destroy(request);
  const std::string created = NextReport();
  EXPECT_EQ(app_manager_is_running("org.test.p.app", &running), APP_MANAGER_ERROR_NONE);
  EXPECT_TRUE(running);
  char* id = nullptr;
  const pid_t pid = std::stoi(created.substr(created.find(' ')));
  EXPECT_EQ(app_manager_get_app_id(pid, &id), APP_MANAGER_ERROR_NONE);
  EXPECT_EQ(Take(id), "org.test.p.app");
}

TEST_F(AppManagerTest, NamesCorruptDatabase) {
  test::WriteFile(Root() + "/packages.db", std::string(5000, 'x'));
  app_info_h info = nullptr;
  EXPECT_EQ(app_info_create("org.test.p.app", &info), APP_MANAGER_ERROR_DB_FAILED);
  EXPECT_NE(Log().find(Root() + "/packages.db"), std::string::npos);
}

TEST_F(AppManagerTest, RejectsNullParameters) {
  app_info_h info = nullptr;
  bool running = false;
  EXPECT_EQ(app_info_create(nullptr, &info), APP_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_info_destroy(nullptr), APP_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_manager_is_running(nullptr, &running), APP_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_info_metadata_filter_add(nullptr, "k", "v"), APP_MANAGER_ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace platform
