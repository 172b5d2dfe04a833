// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_LIBRARY_PEER_H_
#define QOR_BENCH_LIBRARY_PEER_H_

#include "agent/agent.h"
#include "peer.h"

namespace bench {

// The library: a command to a connected handler application and its result.
class LibraryPeer : public Peer {
 public:
  // Installs the example package found below `packages` into the platform's root.
  explicit LibraryPeer(const std::string& packages);

  std::string Name() const override { return "this library"; }
  void Measure(std::size_t count, std::size_t payload_bytes, std::vector<double>& samples) override;

 private:
  tools::Agent agent_;
};

}  // namespace bench

#endif
