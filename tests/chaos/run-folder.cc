// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "run-folder.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "common/platform-names.h"
#include "handlers.h"
#include "platform/linux/tests/support/package-folder.h"

namespace chaos {

namespace {

namespace fs = std::filesystem;

// The second version has one request type less and another priority.
void Write(const std::string& folder, int handler, int version, const std::string& executable) {
  constexpr char kConfiguration[] = "res/handler.yaml";
  const int priority = version == 0 ? handler % 7 : handler % 3;
  platform::test::PackageSpec package;
  package.id = PackageOf(handler);
  package.version = std::to_string(version + 1) + ".0.0";
  package.app_id = ApplicationOf(handler);
  package.executable = executable;
  package.metadata = {{common::kCommandHandlerKey, kConfiguration},
                      {common::kPriorityKey, std::to_string(priority + 1)}};
  for (const char* privilege : common::kHandlerPrivileges) package.privileges.push_back(privilege);
  platform::test::WritePackage(folder, package);
  std::string types = "request-types:\n  - " + SharedTypeOf(handler) + "\n";
  for (const std::string& behavior : BehaviorsOf(handler)) {
    const bool is_last = behavior == BehaviorsOf(handler).back();
    if (version == 0 || !is_last) types += "  - " + TypeOf(handler, behavior) + "\n";
  }
  platform::test::WriteFile(folder + "/" + kConfiguration, types);
}

}  // namespace

RunFolder::RunFolder() {
  folder_ = fs::temp_directory_path() / "qor-chaos-XXXXXX";
  if (mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("cannot create " + folder_);
  folder_ = fs::canonical(folder_);
  fs::create_directory(Root());
}

RunFolder::~RunFolder() {
  std::error_code ignored;
  if (!is_kept_) fs::remove_all(folder_, ignored);
}

std::string RunFolder::PackageFolder(int handler, int version) const {
  return folder_ + "/packages/" + PackageOf(handler) + "-" + std::to_string(version + 1);
}

void RunFolder::WritePackages(const Programs& programs) const {
  for (int handler = 0; handler < kAllHandlers; ++handler) {
    for (int version = 0; version < kVersions; ++version) {
      Write(PackageFolder(handler, version), handler, version,
            IsMisbehaving(handler) ? programs.misbehaving_handler : programs.handler);
    }
  }
}

}  // namespace chaos
