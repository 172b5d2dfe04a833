// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_manager.h>
#include <gtest/gtest.h>
#include <package_manager.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/linux/common/package-database.h"
#include "platform/linux/tests/support/archive-writer.h"
#include "platform/linux/tests/support/disk-fault-injector.h"
#include "platform/linux/tests/support/platform-test.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

namespace fs = std::filesystem;
using test::PackageSpec;
using test::SortedNames;
using test::Take;

class InstallTest : public test::PlatformTest {
 protected:
  static std::string RootPathOf(const std::string& package_id) {
    package_info_h info = nullptr;
    if (package_info_create(package_id.c_str(), &info) != PACKAGE_MANAGER_ERROR_NONE) return "";
    char* path = nullptr;
    package_info_get_root_path(info, &path);
    package_info_destroy(info);
    return Take(path);
  }

  std::string PackageFolder() const { return Root() + "/packages/org.test.p"; }
};

TEST_F(InstallTest, InstallsFolder) {
  PackageSpec package;
  package.version = "1.2.3";
  package.preload = true;
  package.privileges = {"http://tizen.org/privilege/datasharing", "second"};
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);

  package_info_h info = nullptr;
  ASSERT_EQ(package_manager_get_package_info("org.test.p", &info), PACKAGE_MANAGER_ERROR_NONE);
  char* text = nullptr;
  package_info_get_package(info, &text);
  EXPECT_EQ(Take(text), "org.test.p");
  package_info_get_version(info, &text);
  EXPECT_EQ(Take(text), "1.2.3");
  package_info_get_type(info, &text);
  EXPECT_EQ(Take(text), "tpk");
  bool preload = false;
  package_info_is_preload_package(info, &preload);
  EXPECT_TRUE(preload);
  std::vector<std::string> privileges;
  package_info_foreach_privilege_info(
      info,
      [](const char* name, void* names) {
        static_cast<std::vector<std::string>*>(names)->emplace_back(name);
        return true;
      },
      &privileges);
  EXPECT_EQ(privileges, package.privileges);
  package_info_destroy(info);

  const std::string root = RootPathOf("org.test.p");
  EXPECT_EQ(fs::path(root).parent_path(), PackageFolder());
  EXPECT_EQ(test::ReadFile(root + "/res/note.txt"), "version 1.2.3");
}

TEST_F(InstallTest, InstallsArchive) {
  test::WritePackage(Folder() + "/source", PackageSpec());
  test::ArchiveWriter(Folder() + "/p.tpk").Tree(Folder() + "/source");
  ASSERT_EQ(InstallPath(Folder() + "/p.tpk"), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(test::ReadFile(RootPathOf("org.test.p") + "/res/note.txt"), "version 1.0.0");
}

TEST_F(InstallTest, NamesArchiveInManifestError) {
  test::ArchiveWriter(Folder() + "/p.tpk").File("tizen-manifest.xml", "<manifest/>");
  EXPECT_EQ(InstallPath(Folder() + "/p.tpk"), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_NE(Log().find(Folder() + "/p.tpk/tizen-manifest.xml:1: the package id is missing"),
            std::string::npos);
}

TEST_F(InstallTest, UpdatesInstalledPackageAndKeepsOneGeneration) {
  PackageSpec package;
  package.preload = true;
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  const std::string old_root = RootPathOf("org.test.p");
  package.preload = false;
  package.version = "2.0.0";
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);

  const std::string root = RootPathOf("org.test.p");
  EXPECT_NE(root, old_root);
  EXPECT_EQ(test::ReadFile(root + "/res/note.txt"), "version 2.0.0");
  EXPECT_EQ(SortedNames(PackageFolder()).size(), 1U);
  EXPECT_TRUE(SortedNames(Root() + "/staging").empty());
  EXPECT_TRUE(FindPackage("org.test.p")->preload) << "an update keeps the package preloaded";
}

TEST_F(InstallTest, StoresRealPathOfExecutable) {
  const std::string link = Folder() + "/link";
  fs::create_directory_symlink(Root(), link);
  setenv("QOR_PLATFORM_ROOT", link.c_str(), 1);
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  const std::string executable = FindApplication("org.test.p.app")->executable;
  EXPECT_EQ(executable, fs::canonical(executable));
}

TEST_F(InstallTest, UninstallRemovesFilesRecordsAndData) {
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  test::WriteFile(Root() + "/data/org.test.p.app/file", "data");
  test::WriteFile(Root() + "/data/host.agent/file", "data");
  ASSERT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(RootPathOf("org.test.p"), "");
  EXPECT_FALSE(fs::exists(PackageFolder()));
  EXPECT_FALSE(fs::exists(Root() + "/data/org.test.p.app"));
  EXPECT_TRUE(fs::exists(Root() + "/data/host.agent/file"));
  EXPECT_TRUE(SortedNames(Root() + "/staging").empty());
}

TEST_F(InstallTest, UpdateKeepsDataOfRemainingApplications) {
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  test::WriteFile(Root() + "/data/org.test.p.app/file", "data");
  PackageSpec package;
  package.version = "2.0.0";
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_TRUE(fs::exists(Root() + "/data/org.test.p.app/file"));
  package.app_id = "org.test.p.renamed";
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_FALSE(fs::exists(Root() + "/data/org.test.p.app"));
}

TEST_F(InstallTest, UninstallOfUnknownPackageFails) {
  EXPECT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE);
  package_info_h info = nullptr;
  EXPECT_EQ(package_info_create("org.test.p", &info), PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE);
}

TEST_F(InstallTest, NamesRootThatCannotBeWritten) {
  const std::string file = Folder() + "/file";
  test::WriteFile(file, "");
  setenv("QOR_PLATFORM_ROOT", (file + "/root").c_str(), 1);
  EXPECT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_IO_ERROR);
  EXPECT_NE(Log().find("cannot create folder " + file + "/root"), std::string::npos) << Log();
}

// Earlier versions of this platform may have accepted such application ids.
TEST_F(InstallTest, UninstallKeepsDataOfHostProcesses) {
  PackageRecord package;
  package.id = "org.test.q";
  package.version = "1.0.0";
  for (const char* id : {"host.agent", "HOST.other", "..", "../data/precious"}) {
    ApplicationRecord application;
    application.id = id;
    application.executable = "/nowhere/" + std::to_string(package.applications.size());
    package.applications.push_back(application);
  }
  package.root_path = Root() + "/packages/org.test.q/1";
  StorePackage(package);
  const std::vector<std::string> folders = {"host.agent", "HOST.other", "precious"};
  for (const std::string& folder : folders)
    test::WriteFile(Root() + "/data/" + folder + "/file", "data");
  EXPECT_EQ(Uninstall("org.test.q"), PACKAGE_MANAGER_ERROR_NONE) << Log();
  for (const std::string& folder : folders)
    EXPECT_EQ(test::ReadFile(Root() + "/data/" + folder + "/file"), "data") << folder;
}

TEST_F(InstallTest, IgnoresStagingEntriesWithoutValidId) {
  test::WriteFile(Root() + "/data/precious/file", "data");
  for (const char* name : {"1@..", "2@.", "3@"})
    fs::create_directories(Root() + "/staging/" + name);
  fs::create_directories(Root() + "/staging/4@org.test.q/applications/host.agent");
  test::WriteFile(Root() + "/data/host.agent/file", "data");
  EXPECT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE) << Log();
  EXPECT_EQ(test::ReadFile(Root() + "/data/precious/file"), "data");
  EXPECT_EQ(test::ReadFile(Root() + "/data/host.agent/file"), "data");
  EXPECT_TRUE(test::SortedNames(Root() + "/staging").empty());
}

TEST_F(InstallTest, InstallsDespiteStagingEntryThatCannotBeRemoved) {
  const std::string leftover = Root() + "/staging/1";
  test::WriteFile(leftover + "/content/text", "text");
  {
    const test::DiskFaultInjector disk(leftover, test::DiskFaultInjector::Kind::kReadOnly, 1);
    EXPECT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
    EXPECT_TRUE(disk.HasFailed());
  }
  EXPECT_NE(Log().find("cannot remove " + leftover), std::string::npos) << Log();
  EXPECT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_FALSE(fs::exists(leftover));
}

TEST_F(InstallTest, NamesCorruptDatabase) {
  test::WriteFile(Root() + "/packages.db", std::string(5000, 'x'));
  EXPECT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_SYSTEM_ERROR);
  EXPECT_NE(Log().find(Root() + "/packages.db: "), std::string::npos) << Log();
}

TEST_F(InstallTest, SupportsLongRootPath) {
  std::string root = Folder();
  while (root.size() < 400) root += "/a-rather-long-folder-name-that-goes-on-and-on";
  UseRoot(root);
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(InstalledCount(), 1);
}

TEST_F(InstallTest, IsVisibleAcrossProcesses) {
  test::WritePackage(Folder() + "/source", PackageSpec());
  EXPECT_EQ(InstalledCount(), 0);
  EXPECT_EQ(test::RunTool({"install", Folder() + "/source"}), 0);
  EXPECT_EQ(InstalledCount(), 1);
  EXPECT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_NE(test::RunTool({"uninstall", "org.test.p"}), 0);
}

TEST_F(InstallTest, SerializesTwoProcesses) {
  for (const char* id : {"org.test.p", "org.test.q"}) {
    PackageSpec package;
    package.id = id;
    package.app_id = id + std::string(".app");
    test::WritePackage(Folder() + "/" + id, package);
  }
  const pid_t first = test::StartTool({"install", Folder() + "/org.test.p"});
  const pid_t second = test::StartTool({"install", Folder() + "/org.test.q"});
  EXPECT_EQ(test::Await(first), 0);
  EXPECT_EQ(test::Await(second), 0);
  EXPECT_EQ(InstalledCount(), 2);
}

TEST_F(InstallTest, ForeachStopsWhenCallbackReturnsFalse) {
  for (const char* id : {"org.test.p", "org.test.q"}) {
    PackageSpec package;
    package.id = id;
    package.app_id = id + std::string(".app");
    ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  }
  int calls = 0;
  const auto stop = [](package_info_h, void* count) {
    ++*static_cast<int*>(count);
    return false;
  };
  EXPECT_EQ(package_manager_foreach_package_info(stop, &calls), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(calls, 1);
}

TEST_F(InstallTest, RejectsNullParameters) {
  package_manager_request_h request = nullptr;
  ASSERT_EQ(package_manager_request_create(&request), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(package_manager_request_install(request, nullptr, nullptr),
            PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(package_manager_request_install(nullptr, "x", nullptr),
            PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(package_manager_request_uninstall(request, "", nullptr),
            PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(package_manager_foreach_package_info(nullptr, nullptr),
            PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(package_manager_get_package_info(nullptr, nullptr),
            PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  package_manager_request_destroy(request);
}

}  // namespace
}  // namespace platform
