// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Damaged or foreign package databases.

#include "platform/linux/common/package-database.h"

#include <filesystem>
#include <functional>

#include "sqlite/database.h"
#include "target.h"

namespace {

// Expects that a query succeeds or reports an error.
void ExpectResultOrError(const std::function<void()>& action) {
  try {
    action();
  } catch (const sqlite::DatabaseError& error) {
    fuzz::Require(*error.what() != '\0', "an error has a text");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::WriteFile("root/packages.db", fuzz::TextOf(data, size));
  ExpectResultOrError([] { platform::AllPackages(); });
  ExpectResultOrError([] { platform::FindPackage("org.example.text"); });
  ExpectResultOrError([] { platform::FindApplication("org.example.text.upper"); });
  ExpectResultOrError([] { platform::FindApplicationIdByExecutable("/nowhere"); });
  ExpectResultOrError([] {
    platform::FindApplicationsWithMetadata({{"key", "value"}, {"other", {}}});
  });
  ExpectResultOrError(
      [] { platform::PackageOfApplicationHasPrivilege("org.example.text.upper", "any"); });
  platform::PackageRecord package;
  package.id = "org.example.text";
  package.version = "1.0.0";
  ExpectResultOrError([&] { platform::StorePackage(package); });
  ExpectResultOrError([&] { platform::RemovePackage(package.id); });
  // The next input is a new file, for which the platform opens a new connection.
  std::filesystem::remove(path);
  return 0;
}
