// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <malloc.h>
#include <sqlite3.h>
#include <yaml-cpp/yaml.h>

#include <cstdlib>
#include <filesystem>

#include "common/platform-names.h"
#include "figures/figures.h"
#include "plain-agent.h"
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
constexpr std::size_t kPackagesPerHandler = 10;
constexpr int kCommandTimeoutMs = 20'000;

struct Starts {
  Samples time;
  Samples limit;   // the platform's queries and parsing the YAML files alone
  Samples yaml;    // parsing the YAML files
  Samples memory;  // bytes of heap in use afterwards, without SQLite's caches
};

double HeapInUse() {
  const auto heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd) -
         static_cast<double>(sqlite3_memory_used());
}

class Root {
 public:
  explicit Root(std::size_t packages) {
    FillRoot(folder_.Path(), packages, packages / kPackagesPerHandler);
  }

  void MeasureInto(Starts& starts) const {
    const Numbers start = Start();
    starts.time.push_back(start[0]);
    starts.memory.push_back(start[1]);
    const Numbers limit = RunInProcess([this]() -> Numbers { return ReadAlone(); });
    starts.limit.push_back(limit[0]);
    starts.yaml.push_back(limit[1]);
  }

 private:
  // Returns milliseconds and bytes of memory.
  Numbers Start() const {
    return RunInProcess([this]() -> Numbers {
      setenv("QOR_PLATFORM_ROOT", folder_.Path().c_str(), 1);
      ecore_init();
      const double before = HeapInUse();
      Stopwatch watch;
      const support::PlainAgent agent(kCommandTimeoutMs, kCommandTimeoutMs);
      const double time = watch.Lap() / 1000;
      return {time, HeapInUse() - before};
    });
  }

  // Makes the queries and parses the files of a start, once each. Returns the milliseconds of both
  // and of parsing.
  Numbers ReadAlone() const {
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

Samples Divide(Samples samples, double divisor) {
  for (double& sample : samples) sample /= divisor;
  return samples;
}

// The size of one handler's id and request types.
double TextBytes(std::size_t number) {
  const std::string text = std::to_string(number);
  return static_cast<double>(HandlerId(number).size() + ("text.echo." + text).size() +
                             ("text.silent." + text).size());
}

Samples BytesPerHandler(const Starts& many, const Starts& few) {
  const std::size_t from = kFewPackages / kPackagesPerHandler;
  const std::size_t to = kManyPackages / kPackagesPerHandler;
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
  report.Add(Ratio("start vs. its queries and YAML files alone", many.time, many.limit, "ms",
                   AtMost(1.3)));
  report.Add(Ratio("share of the YAML files", many.yaml, many.limit, "ms"));
  report.Add(Ratio("start per package vs. 1,000 packages",
                   Divide(many.time, kManyPackages / 1000.0),
                   Divide(few.time, kFewPackages / 1000.0), "us", AtMost(1.2)));
  report.Add({"memory per registered handler without its texts", "B",
              SpreadOf(BytesPerHandler(many, few)), AtMost(1024), ""});
}

}  // namespace bench
