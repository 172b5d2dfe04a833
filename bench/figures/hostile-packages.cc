// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <package_manager.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "common/platform-names.h"
#include "figures/figures.h"
#include "support/operation-end.h"
#include "support/temporary-folder.h"
#include "support/turns.h"
#include "support/worker.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRounds = 5;
constexpr int kTimeoutMs = 20'000;
constexpr double kLimitSeconds = 60;
constexpr char kPackage[] = "org.example.bench.package";
// What may be parsed at most: beyond it a file is refused.
constexpr std::size_t kMostIndicators = 33'500;
constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr std::size_t kMostRequestTypes = 29'000;
constexpr std::size_t kMostApplications = 16;

std::string Repeated(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string List(std::size_t count) {
  std::string text = "request-types:\n";
  for (std::size_t i = 0; i < count; ++i) text += "- org.example.type-" + std::to_string(i) + "\n";
  return text;
}

std::string Numbered(std::size_t count) {
  std::string text = "request-types: [";
  for (std::size_t i = 0; i < count; ++i) text += std::to_string(i) + ",";
  return text + "]";
}

struct HostilePackage {
  const char* name;
  std::string text;
  std::size_t applications = 1;
  // Of one file for all of them, or of one for each.
  bool is_shared = true;
};

// The first is honest.
const std::vector<HostilePackage>& Packages() {
  static const std::vector<HostilePackage> packages = {
      {"5,000 request types", List(5000)},
      {"commas", "request-types: [" + Repeated(",", kMostIndicators) + "]"},
      {"keys without names", "request-types: [a]\nb: {" + Repeated(",", kMostIndicators) + "}"},
      {"pairs", "request-types: [" + Repeated("a: b,", kMostIndicators / 2 - 1000) + "]"},
      {"block keys", "request-types: [a]\n" + Repeated("a:\n", kMostIndicators / 2 - 500)},
      {"anchors and keys",
       "request-types: [a]\nb: {" + Repeated("&a a: ,", kMostIndicators / 3 - 500) + "}"},
      {"one text of 1 MiB", "request-types: [" + std::string(kMostBytes - 100, 'a') + "]"},
      {"wide characters", "\xFF\xFE" + Repeated("\x01\x4E", kMostBytes / 4)},
      {"as many request types as possible", Numbered(kMostRequestTypes)},
      {"request types of 16 applications", Numbered(kMostRequestTypes / kMostApplications),
       kMostApplications},
      {"16 files of commas", "request-types: [" + Repeated(",", kMostIndicators) + "]",
       kMostApplications, false},
      {"16 files that are not parsed", "[" + std::string(kMostBytes - 1, ','), kMostApplications,
       false},
  };
  return packages;
}

void Write(const std::string& folder, const HostilePackage& package) {
  fs::create_directories(folder + "/bin");
  std::ofstream manifest(folder + "/tizen-manifest.xml");
  manifest << "<manifest xmlns=\"http://tizen.org/ns/packages\" package=\"" << kPackage
           << "\" version=\"1.0.0\">\n";
  for (std::size_t i = 0; i < package.applications; ++i) {
    const std::string number = std::to_string(i);
    const std::string file = package.is_shared ? "types.yaml" : "types-" + number + ".yaml";
    std::ofstream(folder + "/" + file) << package.text;
    std::ofstream(folder + "/bin/run-" + number) << "#!/bin/sh\n";
    chmod((folder + "/bin/run-" + number).c_str(), S_IRWXU);
    manifest << "<service-application appid=\"" << kPackage << "." << number << "\" exec=\"run-"
             << number << "\"><metadata key=\"" << common::kCommandHandlerKey << "\" value=\""
             << file << "\"/></service-application>\n";
  }
  manifest << "</manifest>\n";
}

// Answers with the milliseconds of the longest turn until the next operation on a package is over.
Worker::Task Listen() {
  auto agent = std::make_shared<tools::Agent>(kTimeoutMs, kTimeoutMs);
  auto is_over = std::make_shared<bool>(false);
  auto turns = std::make_shared<Turns>();
  WatchForTheEndOfOperations(is_over.get());
  return [agent, is_over, turns](const Numbers&) -> Numbers {
    *is_over = false;
    turns->Begin();
    if (!tools::RunUntil([&] { return *is_over; }, kLimitSeconds)) {
      throw std::runtime_error("no package event arrived within the limit");
    }
    // The turn that has ended the wait is over with the next one.
    ecore_main_loop_iterate();
    return {turns->Longest()};
  };
}

// Installs the package of the number, or removes it again.
Worker::Task Operate(const std::string& root) {
  return [root](const Numbers& numbers) -> Numbers {
    const std::string folder = root + "/sources/" + std::to_string(static_cast<int>(numbers[0]));
    package_manager_request_h request = nullptr;
    int id = 0;
    package_manager_request_create(&request);
    const int result = numbers[1] != 0
                           ? package_manager_request_install(request, folder.c_str(), &id)
                           : package_manager_request_uninstall(request, kPackage, &id);
    package_manager_request_destroy(request);
    if (result != 0) throw std::runtime_error("the package is not installed or removed");
    return {};
  };
}

}  // namespace

void MeasureHostilePackages(Report& report) {
  const TemporaryFolder root;
  for (std::size_t i = 0; i < Packages().size(); ++i) {
    Write(root.Path() + "/sources/" + std::to_string(i), Packages()[i]);
  }
  const auto in_root = [&root](const std::function<Worker::Task()>& make) {
    return [&root, make] {
      setenv("QOR_PLATFORM_ROOT", (root.Path() + "/root").c_str(), 1);
      return make();
    };
  };
  Worker agent(in_root(Listen));
  Worker installer(in_root([&root] { return Operate(root.Path()); }));
  std::vector<Samples> turns(Packages().size());
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < Packages().size(); ++i) {
      for (const bool is_install : {true, false}) {
        agent.Send({});
        installer.Ask({static_cast<double>(i), is_install ? 1.0 : 0.0});
        const double longest = agent.Receive()[0];
        if (is_install) turns[i].push_back(longest);
      }
    }
  }
  report.BeginGroup("a hostile package: the agent's longest turn");
  for (std::size_t i = 0; i < Packages().size(); ++i) {
    const std::string name = Packages()[i].name;
    report.Add({name, "ms", SpreadOf(turns[i]), AtMost(100), ""});
    if (i > 0) report.Add(Ratio(name + " beside an honest package", turns[i], turns[0], "ms"));
  }
}

}  // namespace bench
