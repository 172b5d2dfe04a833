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
constexpr std::size_t kFew = 1;
constexpr std::size_t kMany = 10'000;
constexpr std::size_t kPayload = 1024;

class Agent {
 public:
  explicit Agent(std::size_t pending) {
    FillRoot(root_.Path(), 1, 1);
    process_ = std::make_unique<PeerProcess>([this, pending] {
      auto peer = std::make_unique<LibraryPeer>(root_.Path());
      peer->LeavePending(pending, kPayload);
      return peer;
    });
  }
  PeerProcess* Process() const { return process_.get(); }

 private:
  TemporaryFolder root_;
  std::unique_ptr<PeerProcess> process_;
};

// Bytes per pending command, without its payload.
Samples BytesPerCommand(const Costs& many, const Costs& few) {
  Samples bytes = Differences(Each(many, &Cost::resident), Each(few, &Cost::resident));
  for (double& number : bytes) {
    number = number / static_cast<double>(kMany - kFew) - static_cast<double>(kPayload);
  }
  return bytes;
}

}  // namespace

void MeasurePending(Report& report) {
  const Agent few(kFew);
  const Agent many(kMany);
  const auto costs = Interleave({few.Process(), many.Process()}, {100, 64}, kRounds);
  const auto compare = [&](const char* name, double Cost::*member) {
    report.Add(Ratio(name, Each(costs[1], member), Each(costs[0], member), "us", AtMost(1.5)));
  };
  report.BeginGroup("10,000 pending commands vs. 1");
  compare("send call", &Cost::send);
  compare("agent CPU time per command", &Cost::own_cpu);
  compare("round-trip time", &Cost::wall);
  report.Add({"memory per pending command without its payload", "B",
              SpreadOf(BytesPerCommand(costs[1], costs[0])), AtMost(1024), ""});
}

}  // namespace bench
