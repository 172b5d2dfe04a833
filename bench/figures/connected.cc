// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "figures/figures.h"
#include "figures/interleave.h"
#include "peers/library-peer.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 30;
constexpr std::size_t kHandlers = 1000;
constexpr std::size_t kPayload = 64;

// An agent with a thousand registered handlers, `connected` of which are connected.
class Agent {
 public:
  explicit Agent(std::size_t connected) {
    FillRoot(root_.Path(), kHandlers, kHandlers);
    process_ = std::make_unique<PeerProcess>([this, connected] {
      auto peer = std::make_unique<LibraryPeer>(root_.Path());
      peer->Connect(connected);
      return peer;
    });
  }
  PeerProcess* operator->() const { return process_.get(); }

 private:
  TemporaryFolder root_;
  std::unique_ptr<PeerProcess> process_;
};

Samples KiBEach(const Costs& many, const Costs& one) {
  Samples memory = Differences(Each(many, &Cost::resident), Each(one, &Cost::resident));
  for (double& number : memory) number /= 1024 * static_cast<double>(kHandlers - 1);
  return memory;
}

}  // namespace

void MeasureConnected(Report& report) {
  const Agent one(1);
  const Agent many(kHandlers);
  const Workload to_one_of_them = {100, kPayload};
  const Workload to_all = {kHandlers, kPayload, 1, kHandlers};
  Costs alone, among_many, spread;
  for (std::size_t round = 0; round < kRounds; ++round) {
    alone.push_back(one->Measure(to_one_of_them));
    among_many.push_back(many->Measure(to_one_of_them));
    spread.push_back(many->Measure(to_all));
  }
  report.BeginGroup("1,000 connected handlers vs. 1");
  report.Add(Ratio("round-trip time to one handler", Each(among_many, &Cost::wall),
                   Each(alone, &Cost::wall), "us", AtMost(1.3)));
  report.Add(Ratio("agent CPU time per command to one handler", Each(among_many, &Cost::own_cpu),
                   Each(alone, &Cost::own_cpu), "us", AtMost(1.3)));
  report.Add(Ratio("round-trip time to all handlers in turn", Each(spread, &Cost::wall),
                   Each(alone, &Cost::wall), "us"));
  report.AddRemark("in a round over all handlers, the caches hold no handler's code and data");
  report.Add({"agent memory per connected handler", "KiB", SpreadOf(KiBEach(among_many, alone)),
              AtMost(64), ""});
}

}  // namespace bench
