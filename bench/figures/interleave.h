// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_FIGURES_INTERLEAVE_H_
#define QOR_BENCH_FIGURES_INTERLEAVE_H_

#include <vector>

#include "peers/peer.h"
#include "support/statistics.h"

namespace bench {

// The costs of one peer, a round each.
using Costs = std::vector<Cost>;

// Lets each of the peers do the slice in turn, `rounds` times; so what else the machine does in a
// round meets all of them.
std::vector<Costs> Interleave(const std::vector<PeerProcess*>& peers, const Slice& slice,
                              std::size_t rounds);

// One of the costs, a round each.
Samples Each(const Costs& costs, double Cost::*member);

}  // namespace bench

#endif
