// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/interrupted-operation-test.h"

#include <package_manager.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "platform/linux/common/package-database.h"

namespace platform::test {

namespace fs = std::filesystem;

InterruptedOperationTest::InterruptedOperationTest() {
  for (const char* version : {"1.0.0", "2.0.0"}) {
    PackageSpec package;
    package.version = version;
    WritePackage(Source(version), package);
  }
}

int InterruptedOperationTest::Run(const Operation& operation) {
  return operation.command == "install" ? InstallPath(operation.argument)
                                        : Uninstall(operation.argument);
}

std::string InterruptedOperationTest::InstalledVersion() {
  const auto package = FindPackage("org.test.p");
  if (!package) return "";
  EXPECT_EQ(ReadFile(package->root_path + "/res/note.txt"), "version " + package->version);
  EXPECT_EQ(access(package->applications.at(0).executable.c_str(), X_OK), 0);
  return package->version;
}

// The first operation below a root creates the root's folders, so a first install needs a new root.
void InterruptedOperationTest::Prepare(const Operation& operation, int step) {
  if (operation.old_version.empty()) {
    UseRoot(Folder() + "/root-" + std::to_string(step));
  } else {
    ASSERT_EQ(InstallPath(Source(operation.old_version)), PACKAGE_MANAGER_ERROR_NONE);
    WriteFile(Root() + "/data/org.test.p.app/file", "data");
  }
  ASSERT_EQ(InstalledVersion(), operation.old_version);
}

// Runs a request that changes nothing except for cleaning up after the interrupted one.
void InterruptedOperationTest::ExpectCleanAfterNextRequest(const Operation& operation) {
  const std::string version = InstalledVersion();
  EXPECT_EQ(Uninstall("org.test.missing"), PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE);
  EXPECT_EQ(InstalledVersion(), version);
  EXPECT_TRUE(SortedNames(Root() + "/staging").empty());
  const auto package = FindPackage("org.test.p");
  if (package) {
    EXPECT_EQ(SortedNames(Root() + "/packages/org.test.p"),
              std::vector<std::string>{fs::path(package->root_path).filename()});
  } else {
    EXPECT_TRUE(SortedNames(Root() + "/packages").empty());
  }
  EXPECT_EQ(fs::exists(Root() + "/data/org.test.p.app"),
            package != nullptr && !operation.old_version.empty());
}

void InterruptedOperationTest::ExpectNoUnknownFiles() const {
  const std::set<std::string> known = {"data",   "install.lock", "packages", "packages.db",
                                       "report", "run",          "staging"};
  for (const std::string& name : SortedNames(Root())) EXPECT_EQ(known.count(name), 1u) << name;
}

void InterruptedOperationTest::InterruptAtEveryStep(
    const Operation& operation, const std::function<bool(int step)>& interrupt) {
  std::set<std::string> seen;
  int step = 1;
  for (;; ++step) {
    SCOPED_TRACE("interrupted at step " + std::to_string(step));
    Prepare(operation, step);
    if (HasFailure()) return;
    const bool was_interrupted = interrupt(step);
    const std::string version = InstalledVersion();
    EXPECT_TRUE(version == operation.old_version || version == operation.new_version) << version;
    seen.insert(version);
    ExpectCleanAfterNextRequest(operation);
    if (version == operation.old_version) {
      EXPECT_EQ(Run(operation), PACKAGE_MANAGER_ERROR_NONE) << Log();
      EXPECT_EQ(InstalledVersion(), operation.new_version);
    }
    ExpectNoUnknownFiles();
    if (HasFailure() || !was_interrupted) break;
  }
  RecordProperty("steps", step - 1);
  EXPECT_GT(step, 10) << "too few steps: the operation was not interrupted at all of them";
  EXPECT_EQ(seen, (std::set<std::string>{operation.old_version, operation.new_version}));
}

}  // namespace platform::test
