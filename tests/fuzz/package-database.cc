// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Damaged or foreign package databases.

#include "platform/linux/common/package-database.h"

#include <filesystem>
#include <functional>

#include "sqlite/database.h"
#include "target.h"

namespace {

// Each query succeeds or reports an error about the file.
void Try(const std::function<void()>& action) {
  try {
    action();
  } catch (const sqlite::DatabaseError& error) {
    fuzz::Require(*error.what() != '\0', "an error has a text");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::WriteFile("root/packages.db", fuzz::TextOf(data, size));
  Try([] { platform::AllPackages(); });
  Try([] { platform::FindPackage("org.example.text"); });
  Try([] { platform::FindApplication("org.example.text.upper"); });
  Try([] { platform::FindApplicationIdByExecutable("/nowhere"); });
  Try([] { platform::FindApplicationsWithMetadata({{"key", "value"}, {"other", {}}}); });
  Try([] { platform::PackageOfApplicationHasPrivilege("org.example.text.upper", "any"); });
  platform::PackageRecord package;
  package.id = "org.example.text";
  package.version = "1.0.0";
  Try([&] { platform::StorePackage(package); });
  Try([&] { platform::RemovePackage(package.id); });
  // The connection is reopened when the file is another one.
  std::filesystem::remove(path);
  return 0;
}
