// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/run-until.h"
#include "common/platform-names.h"
#include "figures/figures.h"
#include "plain-agent.h"
#include "support/iteration-meter.h"
#include "support/package-operations.h"
#include "support/temporary-folder.h"
#include "support/worker.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRounds = 5;
constexpr int kCommandTimeoutMs = 20'000;
constexpr std::chrono::seconds kTimeoutSeconds{60};
constexpr char kPackage[] = "org.example.bench.package";
// The limits of a configuration file: beyond them it is rejected.
constexpr std::size_t kMaxIndicators = 33'500;
constexpr std::size_t kMaxBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxRequestTypes = 29'000;
constexpr std::size_t kMaxApplications = 16;

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
  // One configuration file for all applications, or one each.
  bool is_shared = true;
};

// The first one is honest, as the reference.
const std::vector<HostilePackage>& Packages() {
  static const std::vector<HostilePackage> packages = {
      {"5,000 request types", List(5000)},
      {"commas only", "request-types: [" + Repeated(",", kMaxIndicators) + "]"},
      {"empty keys", "request-types: [a]\nb: {" + Repeated(",", kMaxIndicators) + "}"},
      {"key-value pairs", "request-types: [" + Repeated("a: b,", kMaxIndicators / 2 - 1000) + "]"},
      {"block keys", "request-types: [a]\n" + Repeated("a:\n", kMaxIndicators / 2 - 500)},
      {"anchors and keys",
       "request-types: [a]\nb: {" + Repeated("&a a: ,", kMaxIndicators / 3 - 500) + "}"},
      {"one string of 1 MiB", "request-types: [" + std::string(kMaxBytes - 100, 'a') + "]"},
      {"UTF-16", "\xFF\xFE" + Repeated("\x01\x4E", kMaxBytes / 4)},
      {"maximum number of request types", Numbered(kMaxRequestTypes)},
      {"request types of 16 applications", Numbered(kMaxRequestTypes / kMaxApplications),
       kMaxApplications},
      {"16 files of commas", "request-types: [" + Repeated(",", kMaxIndicators) + "]",
       kMaxApplications, false},
      {"16 files beyond the limit", "[" + std::string(kMaxBytes - 1, ','), kMaxApplications, false},
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

// Replies with the longest main-loop iteration, in milliseconds, during the next package operation.
Worker::Task Listen() {
  auto agent = std::make_shared<support::PlainAgent>(kCommandTimeoutMs, kCommandTimeoutMs);
  auto is_finished = std::make_shared<bool>(false);
  auto iterations = std::make_shared<IterationMeter>();
  WatchPackageOperations(is_finished.get());
  return [agent, is_finished, iterations](const Numbers&) -> Numbers {
    *is_finished = false;
    iterations->Start();
    if (!tools::RunUntil([&] { return *is_finished; }, kTimeoutSeconds)) {
      throw std::runtime_error("no package event before the timeout");
    }
    // The iteration that ended the wait counts when the next one starts.
    ecore_main_loop_iterate();
    return {iterations->MaxMs()};
  };
}

// Installs the package with the requested number, or uninstalls it.
Worker::Task Operate(const std::string& root) {
  return [root](const Numbers& numbers) -> Numbers {
    if (numbers[1] != 0) {
      InstallPackage(root + "/sources/" + std::to_string(static_cast<int>(numbers[0])));
    } else {
      UninstallPackage(kPackage);
    }
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
  std::vector<Samples> iterations(Packages().size());
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < Packages().size(); ++i) {
      for (const bool is_install : {true, false}) {
        agent.Send({});
        installer.Call({static_cast<double>(i), is_install ? 1.0 : 0.0});
        const double longest = agent.Receive()[0];
        if (is_install) iterations[i].push_back(longest);
      }
    }
  }
  report.BeginGroup("hostile package: longest main-loop iteration of the agent");
  for (std::size_t i = 0; i < Packages().size(); ++i) {
    const std::string name = Packages()[i].name;
    report.Add({name, "ms", SpreadOf(iterations[i]), AtMost(100), ""});
    if (i > 0)
      report.Add(Ratio(name + " vs. an honest package", iterations[i], iterations[0], "ms"));
  }
}

}  // namespace bench
