// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdlib>
#include <memory>
#include <string>

#include "figures/figures.h"
#include "figures/interleave.h"
#include "peers/disk-peer.h"
#include "peers/durable-peer.h"
#include "peers/library-peer.h"
#include "support/memory.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 30;
constexpr std::size_t kPayload = 64;
// A page of the journal.
constexpr std::size_t kDiskBytes = 4096;
constexpr std::size_t kSyncs = 50;
constexpr std::size_t kHeld = 100'000;
constexpr std::size_t kOpenRounds = 5;

// A root with one handler, and a process that sends commands to it.
class Sender {
 public:
  using Make = std::function<std::unique_ptr<Peer>(const std::string& root)>;

  explicit Sender(const Make& make) {
    FillRoot(root_.Path(), 1, 1);
    process_ = std::make_unique<PeerProcess>([&] { return make(root_.Path()); });
  }
  PeerProcess& Process() const { return *process_; }

 private:
  TemporaryFolder root_;
  std::unique_ptr<PeerProcess> process_;
};

Samples Products(const Samples& a, const Samples& b) {
  Samples products;
  for (std::size_t i = 0; i < a.size(); ++i) products.push_back(a[i] * b[i]);
  return products;
}

// The commands of a window, and how many of them are measured in a round.
void AddWindow(Report& report, unsigned window, std::size_t count) {
  const TemporaryFolder disk_folder;
  PeerProcess disk([&] { return std::make_unique<DiskPeer>(disk_folder.Path()); });
  const Sender plain([](const std::string& root) { return std::make_unique<LibraryPeer>(root); });
  const Sender memory([window](const std::string& root) {
    return std::make_unique<DurablePeer>(root, "", window);
  });
  const Sender journal([window](const std::string& root) {
    return std::make_unique<DurablePeer>(root, root + "/journal.db", window);
  });
  const Workload workload{count, kPayload, window};
  Costs disk_costs;
  std::vector<Costs> costs(3);
  for (std::size_t round = 0; round < kRounds; ++round) {
    disk_costs.push_back(disk.Measure({kSyncs, kDiskBytes, window}));
    costs[0].push_back(plain.Process().Measure(workload));
    costs[1].push_back(memory.Process().Measure(workload));
    costs[2].push_back(journal.Process().Measure(workload));
  }
  const auto wall = [](const Costs& of) { return Each(of, &Cost::wall); };
  const Samples writes = Each(costs[2], &Cost::writes);
  report.BeginGroup("durable commands, window " + std::to_string(window) + ", 64 bytes");
  report.Add(Ratio("time without a journal vs. C interface", wall(costs[1]), wall(costs[0]), "us",
                   AtMost(1.15)));
  report.Add(Ratio("agent CPU time without a journal vs. C interface",
                   Each(costs[1], &Cost::own_cpu), Each(costs[0], &Cost::own_cpu), "us"));
  report.Add(Ratio("time with a journal vs. C interface", wall(costs[2]), wall(costs[0]), "us"));
  report.Add(Ratio("time that a write adds vs. fdatasync()",
                   Differences(wall(costs[2]), wall(costs[1])), Products(writes, wall(disk_costs)),
                   "us per command", window > 1 ? std::optional<Goal>(AtMost(1.3)) : std::nullopt));
  report.Add({"writes per command", "", SpreadOf(writes), {}, ""});
  report.Add({"fdatasync() of 4096 bytes", "us", SpreadOf(wall(disk_costs)), {}, ""});
}

// Opens a journal of held commands. Returns the seconds, and the memory per command in bytes.
Numbers Open(const std::string& root, const std::string& journal) {
  return RunInProcess([&]() -> Numbers {
    setenv("QOR_PLATFORM_ROOT", root.c_str(), 1);
    qor_agent_settings_s settings = QOR_AGENT_SETTINGS_INIT;
    settings.journal = journal.c_str();
    settings.on_outcome = [](const qor_agent_outcome_s*, void*) {};
    const double before = OwnMemory();
    Stopwatch watch;
    const qor_agent_h agent = OpenAgent(settings);
    const double seconds = watch.Lap() / 1e6;
    const double texts = static_cast<double>(Texts::Uuid(0).size() + kPayload + sizeof "unserved");
    const double memory = (OwnMemory() - before) / static_cast<double>(kHeld) - texts;
    qor_agent_close(agent);
    return {seconds, memory};
  });
}

void AddHeld(Report& report) {
  const TemporaryFolder root;
  FillRoot(root.Path(), 1, 1);
  const std::string journal = root.Path() + "/journal.db";
  RunInProcess([&]() -> Numbers {
    setenv("QOR_PLATFORM_ROOT", root.Path().c_str(), 1);
    HoldCommands(journal, kHeld, kPayload);
    return {};
  });
  Samples seconds, memory;
  for (std::size_t round = 0; round < kOpenRounds; ++round) {
    const Numbers numbers = Open(root.Path(), journal);
    seconds.push_back(numbers[0]);
    memory.push_back(numbers[1]);
  }
  report.BeginGroup("100,000 held commands in a journal");
  report.Add({"open", "s", SpreadOf(seconds), AtMost(1), ""});
  report.Add(
      {"memory per held command without its texts", "B", SpreadOf(memory), AtMost(1024), ""});
}

// What the handler does with commands: see echo-handler.cc.
Sender WithPolicy(const char* policy) {
  return Sender([policy](const std::string& root) {
    setenv("QOR_BENCH_POLICY", policy, 1);
    return std::make_unique<LibraryPeer>(root);
  });
}

void AddAtMostOnce(Report& report) {
  const TemporaryFolder disk_folder;
  PeerProcess disk([&] { return std::make_unique<DiskPeer>(disk_folder.Path()); });
  const Sender least = WithPolicy("at-least-once");
  const Sender most = WithPolicy("at-most-once");
  const Workload workload{50, kPayload};
  Costs disk_costs, least_costs, most_costs;
  for (std::size_t round = 0; round < kRounds; ++round) {
    disk_costs.push_back(disk.Measure({kSyncs, kDiskBytes}));
    least_costs.push_back(least.Process().Measure(workload));
    most_costs.push_back(most.Process().Measure(workload));
  }
  const auto wall = [](const Costs& of) { return Each(of, &Cost::wall); };
  report.BeginGroup("at-most-once commands of a handler, 64 bytes");
  report.Add(Ratio("time vs. at-least-once", wall(most_costs), wall(least_costs), "us"));
  report.Add(Ratio("time beyond at-least-once vs. fdatasync()",
                   Differences(wall(most_costs), wall(least_costs)), wall(disk_costs), "us"));
  report.Add(Ratio("CPU time vs. at-least-once", Each(most_costs, &Cost::cpu),
                   Each(least_costs, &Cost::cpu), "us"));
}

}  // namespace

void MeasureDurable(Report& report) {
  AddWindow(report, 1, 50);
  AddWindow(report, 64, 1000);
  AddHeld(report);
  AddAtMostOnce(report);
}

}  // namespace bench
