// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/package-root.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "common/platform-names.h"
#include "platform/linux/common/package-database.h"
#include "support/worker.h"

namespace bench {

namespace fs = std::filesystem;

namespace {

std::string PackageId(std::size_t number) { return "org.example.bench." + std::to_string(number); }

void WriteFiles(const fs::path& folder, const fs::path& executable, std::size_t number) {
  fs::create_directories(folder / "bin");
  fs::create_directories(folder / "res");
  // Hard links, so that a thousand handlers share their code pages.
  fs::create_hard_link(executable, folder / "bin/echo-handler");
  std::ofstream(folder / "res/handler.yaml")
      << "request-types:\n  - text.echo." << number << "\n  - text.silent." << number << "\n";
}

platform::PackageRecord Record(const std::string& folder, std::size_t number, bool is_handler) {
  platform::ApplicationRecord application;
  application.id = HandlerId(number);
  application.executable = folder + "/bin/echo-handler";
  platform::PackageRecord package;
  package.id = PackageId(number);
  package.version = "1.0.0";
  package.root_path = folder;
  if (is_handler) {
    application.metadata = {{common::kCommandHandlerKey, "res/handler.yaml"},
                            {common::kPriorityKey, "10"}};
    for (const char* privilege : common::kHandlerPrivileges) {
      package.privileges.push_back(privilege);
    }
  }
  package.applications.push_back(application);
  return package;
}

}  // namespace

void FillRoot(const std::string& root, std::size_t packages, std::size_t handlers) {
  RunInProcess([&]() -> Numbers {
    setenv("QOR_PLATFORM_ROOT", root.c_str(), 1);
    const fs::path executable = root + "/echo-handler";
    fs::copy_file(EchoPackage() + "/bin/echo-handler", executable);
    std::vector<platform::PackageRecord> records;
    for (std::size_t i = 0; i < packages; ++i) {
      const std::string folder = root + "/packages/" + PackageId(i) + "/1";
      if (i < handlers) WriteFiles(folder, executable, i);
      records.push_back(Record(folder, i, i < handlers));
    }
    platform::StorePackages(records);
    return {};
  });
}

std::string HandlerId(std::size_t number) { return PackageId(number) + ".handler"; }

std::string BenchFolder() { return fs::canonical("/proc/self/exe").parent_path(); }

std::string EchoPackage() { return BenchFolder() + "/../packages/echo"; }

}  // namespace bench
