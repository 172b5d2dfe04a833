// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_FIGURES_INTERLEAVE_H_
#define QOR_BENCH_FIGURES_INTERLEAVE_H_

#include <vector>

#include "peers/peer.h"
#include "support/statistics.h"

namespace bench {

// The costs of one peer, one per round.
using Costs = std::vector<Cost>;

// Runs the workload on each peer in turn, `rounds` times, so that other load on the machine affects
// all peers alike.
std::vector<Costs> Interleave(const std::vector<PeerProcess*>& peers, const Workload& workload,
                              std::size_t rounds);

// One member of the costs, one sample per round.
Samples Each(const Costs& costs, double Cost::*member);

}  // namespace bench

#endif
