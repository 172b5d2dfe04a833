// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/test-root.h"

#include <cstdlib>
#include <filesystem>

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-identity.h"

namespace platform::test {

std::string OwnAppId() { return IdentifyThisProcess().app_id; }

TestRoot::TestRoot(int depth) {
  char folder[] = "/tmp/ipc-test-XXXXXX";
  base_ = mkdtemp(folder);
  path_ = base_;
  for (int i = 0; i < depth; ++i) path_ += "/a-folder-with-a-rather-long-name";
  setenv("QOR_PLATFORM_ROOT", path_.c_str(), 1);
}

TestRoot::~TestRoot() {
  std::error_code ignored;
  std::filesystem::remove_all(base_, ignored);
  unsetenv("QOR_PLATFORM_ROOT");
}

std::string TestRoot::InstallPeer(const std::string& app_id,
                                  const std::vector<std::string>& privileges) {
  PackageRecord package;
  package.id = app_id + ".package";
  package.version = "1.0.0";
  package.root_path = base_ + "/" + package.id;
  package.privileges = privileges;
  ApplicationRecord application;
  application.id = app_id;
  application.executable = package.root_path + "/peer";
  package.applications.push_back(application);
  std::filesystem::create_directories(package.root_path);
  std::filesystem::copy_file(PEER_EXECUTABLE, application.executable);
  StorePackage(package);
  return application.executable;
}

}  // namespace platform::test
