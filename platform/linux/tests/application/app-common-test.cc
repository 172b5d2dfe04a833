// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_common.h>
#include <app_control.h>
#include <gtest/gtest.h>
#include <package_manager.h>
#include <sys/stat.h>

#include "platform/linux/common/package-database.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

using test::PackageSpec;
using test::Take;

class AppCommonTest : public test::PlatformTest {};

TEST_F(AppCommonTest, HostProcessHasDataFolder) {
  const std::string path = Take(app_get_data_path());
  EXPECT_EQ(path, Root() + "/data/host.platform_app_common_test/");
  EXPECT_EQ(get_last_result(), APP_ERROR_NONE);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(AppCommonTest, HostProcessHasNoApplicationId) {
  char* id = nullptr;
  EXPECT_EQ(app_get_id(&id), APP_ERROR_INVALID_CONTEXT);
  EXPECT_EQ(app_get_id(nullptr), APP_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_get_resource_path(), nullptr);
  EXPECT_EQ(get_last_result(), APP_ERROR_INVALID_CONTEXT);
}

TEST_F(AppCommonTest, ReturnsIdAndFoldersOfApplication) {
  PackageSpec package;
  package.executable = ServiceProgram();
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  app_control_h request = nullptr;
  app_control_create(&request);
  app_control_set_app_id(request, "org.test.p.app");
  app_control_add_extra_data(request, "do", "report-paths");
  ASSERT_EQ(app_control_send_launch_request(request, nullptr, nullptr), APP_CONTROL_ERROR_NONE);
  app_control_destroy(request);
  NextReport();
  EXPECT_EQ(NextReport(), "org.test.p.app " + Root() + "/data/org.test.p.app/ " +
                              FindPackage("org.test.p")->root_path + "/res/");
}

TEST_F(AppCommonTest, NamesRootThatCannotBeWritten) {
  const std::string file = Folder() + "/file";
  test::WriteFile(file, "");
  setenv("QOR_PLATFORM_ROOT", file.c_str(), 1);
  EXPECT_EQ(app_get_data_path(), nullptr);
  EXPECT_NE(get_last_result(), APP_ERROR_NONE);
  EXPECT_NE(Log().find(file), std::string::npos) << Log();
}

TEST_F(AppCommonTest, NamesDataFolderThatCannotBeCreated) {
  test::WriteFile(Root() + "/data", "a file");
  EXPECT_EQ(app_get_data_path(), nullptr);
  EXPECT_EQ(get_last_result(), APP_ERROR_PERMISSION_DENIED);
  EXPECT_NE(Log().find("cannot create folder " + Root() + "/data"), std::string::npos) << Log();
}

}  // namespace
}  // namespace platform
