// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>

#include <memory>
#include <random>

#include "handlers/installed-apps-source.h"
#include "handlers/manager.h"
#include "handlers/repository.h"
#include "inspect/explanation.h"
#include "memory-backend.h"
#include "scratch.h"

namespace tools::inspect {
namespace {

constexpr char kKey[] = "http://tizen.org/iot/metadata/qor/command-handler";
constexpr char kPriority[] = "http://tizen.org/iot/metadata/qor/priority";

const std::vector<std::string> kTypes = {"a", "b", "a.long.type", "A.long.type", "null"};
const std::vector<std::string> kConfigFiles = {
    "request-types: [a]",
    "request-types: [a, b, a]",
    "request-types:\n  - a.long.type\n  -\n",
    "request-types: [A.long.type, b]",
    "request-types: []",
    "request-types: a",
    "request-types: {a: b}",
    "request-types: [a, [b]]",
    "request-types: [a",
    "request_types: [a]",
    "[a]",
    "",
    "a: &x b\nrequest-types: [*x, a]",
};
const std::vector<std::string> kPriorities = {"1",   "50",    "100", "0",           "-7", "250",
                                              " 12", "12abc", "abc", "99999999999", ""};
const std::vector<std::string> kKeys = {kKey, "http://tizen.org/iot/metadata/qor/command_handler",
                                        kPriority, "other"};

// Registers random packages without executables and without the package manager. No configuration
// file is a folder, because the YAML library leaks memory then.
class Agreement : public ScratchTest {
 protected:
  Agreement() { ecore_init(); }
  ~Agreement() override { ecore_shutdown(); }

  std::size_t Below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
  }
  const std::string& Any(const std::vector<std::string>& texts) {
    return texts[Below(texts.size())];
  }

  platform::ApplicationRecord RandomApplication(const std::string& id, const std::string& folder) {
    platform::ApplicationRecord application;
    application.id = id;
    application.executable = Folder() + "/" + folder + "/bin/" + id;
    if (Below(8) != 0) {
      const std::string file = "res/" + id + ".yaml";
      if (Below(8) != 0) Write(folder + "/" + file, Any(kConfigFiles));
      application.metadata.emplace_back(Below(6) != 0 ? kKey : Any(kKeys), file);
    }
    if (Below(4) != 0) application.metadata.emplace_back(kPriority, Any(kPriorities));
    if (Below(6) == 0) application.metadata.emplace_back(Any(kKeys), "res/other.yaml");
    return application;
  }

  void InstallRandomPackages(int round) {
    for (std::size_t number = Below(7); number > 0; --number) {
      platform::PackageRecord package;
      package.id = "p" + std::to_string(Below(1000)) + "-" + std::to_string(number);
      package.version = "1.0.0";
      package.preload = Below(4) == 0;
      const std::string folder = std::to_string(round) + "/" + package.id;
      package.root_path = Folder() + "/" + folder;
      for (std::size_t app = 1 + Below(3); app > 0; --app) {
        const std::string id =
            std::to_string(Below(1000)) + "." + package.id + "." + std::to_string(app);
        package.applications.push_back(RandomApplication(id, folder));
      }
      platform::StorePackage(package);
    }
  }

  std::mt19937 random_{20'260'101};
};

TEST_F(Agreement, ExplainsTheOrderOfTheLibrary) {
  std::size_t compared = 0;
  for (int round = 0; round < 60; ++round) {
    for (const auto& package : platform::AllPackages()) platform::RemovePackage(package.id);
    InstallRandomPackages(round);
    const auto repository = std::make_shared<handlers::Repository>(
        std::make_unique<support::MemoryBackend>(std::make_shared<support::MemoryStore>()));
    const auto manager = std::make_shared<handlers::Manager>(repository);
    manager->AddSource(std::make_shared<handlers::InstalledAppsSource>());
    manager->Reload();
    const auto packages = InspectInstalledPackages();
    for (const auto& type : kTypes) {
      std::vector<std::string> expected;
      const auto found = repository->GetAll().find(type);
      if (found != repository->GetAll().end()) {
        for (const auto& [key, handler] : found->second) {
          expected.push_back(handler->Id() + " " + std::to_string(handler->Priority()));
        }
      }
      std::vector<std::string> explained;
      for (const auto& candidate : Explain(packages, type).candidates) {
        explained.push_back(candidate.record.id + " " + std::to_string(candidate.priority.Value()));
      }
      ASSERT_EQ(explained, expected) << "round " << round << ", type " << type;
      compared += expected.size();
    }
  }
  EXPECT_GT(compared, 100u);
}

}  // namespace
}  // namespace tools::inspect
