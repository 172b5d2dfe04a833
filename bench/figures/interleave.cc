// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "figures/interleave.h"

namespace bench {

std::vector<Costs> Interleave(const std::vector<PeerProcess*>& peers, const Workload& workload,
                              std::size_t rounds) {
  std::vector<Costs> costs(peers.size());
  for (PeerProcess* peer : peers) peer->Measure(workload);  // warm-up
  for (std::size_t round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < peers.size(); ++i) costs[i].push_back(peers[i]->Measure(workload));
  }
  return costs;
}

Samples Each(const Costs& costs, double Cost::*member) {
  Samples samples;
  for (const Cost& cost : costs) samples.push_back(cost.*member);
  return samples;
}

}  // namespace bench
