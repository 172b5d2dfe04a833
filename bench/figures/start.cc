// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <malloc.h>
#include <sqlite3.h>
#include <yaml-cpp/yaml.h>

#include <cstdlib>
#include <filesystem>

#include "agent/agent.h"
#include "common/platform-names.h"
#include "figures/figures.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"
#include "support/worker.h"
#include "tizen/app-info.h"
#include "tizen/package-manager.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 7;
constexpr std::size_t kFewPackages = 1'000;
constexpr std::size_t kManyPackages = 10'000;
constexpr std::size_t kPackagesOfAHandler = 10;
constexpr int kTimeoutMs = 20'000;

struct Starts {
  Samples time;
  Samples limit;   // the platform's queries and the YAML files by themselves
  Samples yaml;    // the files alone
  Samples memory;  // bytes of heap that are in use afterwards, SQLite's own caches left out
};

double HeapInUse() {
  const auto heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd) -
         static_cast<double>(sqlite3_memory_used());
}

class Root {
 public:
  explicit Root(std::size_t packages) {
    FillRoot(folder_.Path(), packages, packages / kPackagesOfAHandler);
  }

  void MeasureInto(Starts& starts) const {
    const Numbers start = Start();
    starts.time.push_back(start[0]);
    starts.memory.push_back(start[1]);
    const Numbers limit = AskOnce([this]() -> Numbers { return ReadByItself(); });
    starts.limit.push_back(limit[0]);
    starts.yaml.push_back(limit[1]);
  }

 private:
  // Milliseconds, and bytes of memory.
  Numbers Start() const {
    return AskOnce([this]() -> Numbers {
      setenv("QOR_PLATFORM_ROOT", folder_.Path().c_str(), 1);
      ecore_init();
      const double before = HeapInUse();
      Stopwatch watch;
      const tools::Agent agent(kTimeoutMs, kTimeoutMs);
      const double time = watch.Lap() / 1000;
      return {time, HeapInUse() - before};
    });
  }

  // What every start has to ask and to read, asked and read once: milliseconds of all and of YAML.
  Numbers ReadByItself() const {
    setenv("QOR_PLATFORM_ROOT", folder_.Path().c_str(), 1);
    const std::string key = common::kCommandHandlerKey;
    Stopwatch watch;
    double yaml = 0;
    for (const auto& package : tizen::PackageManager(common::kLogTag).Handlers(key)) {
      for (const auto& app_id : package.Apps()) {
        for (const auto& [name, value] : tizen::AppInfo(app_id).Metadata()) {
          if (name != key) continue;
          const std::string path = package.RootPath() + "/" + value;
          Stopwatch of_file;
          const YAML::Node root = YAML::LoadFile(path);
          root["request-types"].as<std::vector<std::string>>();
          yaml += of_file.Lap();
        }
      }
    }
    return {watch.Lap() / 1000, yaml / 1000};
  }

  TemporaryFolder folder_;
};

Samples Divided(Samples samples, double divisor) {
  for (double& sample : samples) sample /= divisor;
  return samples;
}

// Of one handler's id and request types.
double TextBytes(std::size_t number) {
  const std::string text = std::to_string(number);
  return static_cast<double>(HandlerId(number).size() + ("text.echo." + text).size() +
                             ("text.silent." + text).size());
}

Samples BytesOfAHandler(const Starts& many, const Starts& few) {
  const std::size_t from = kFewPackages / kPackagesOfAHandler;
  const std::size_t to = kManyPackages / kPackagesOfAHandler;
  double texts = 0;
  for (std::size_t i = from; i < to; ++i) texts += TextBytes(i);
  Samples bytes = Differences(many.memory, few.memory);
  for (double& number : bytes) number = (number - texts) / static_cast<double>(to - from);
  return bytes;
}

}  // namespace

void MeasureStart(Report& report) {
  const Root few_packages(kFewPackages);
  const Root many_packages(kManyPackages);
  Starts few, many;
  for (std::size_t round = 0; round < kRounds; ++round) {
    few_packages.MeasureInto(few);
    many_packages.MeasureInto(many);
  }
  report.BeginGroup("start with 10,000 packages, 1,000 of them handlers");
  report.Add(
      Ratio("start beside its queries and YAML files", many.time, many.limit, "ms", AtMost(1.3)));
  report.Add(Ratio("YAML files' share of that", many.yaml, many.limit, "ms"));
  report.Add(Ratio("start by package beside 1,000 packages",
                   Divided(many.time, kManyPackages / 1000.0),
                   Divided(few.time, kFewPackages / 1000.0), "us", AtMost(1.2)));
  report.Add({"memory of a registered handler beside its texts", "B",
              SpreadOf(BytesOfAHandler(many, few)), AtMost(1024), ""});
}

}  // namespace bench
