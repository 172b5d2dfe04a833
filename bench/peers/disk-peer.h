// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_DISK_PEER_H_
#define QOR_BENCH_PEERS_DISK_PEER_H_

#include <string>

#include "peers/peer.h"

namespace bench {

// Writes a payload into an allocated file and synchronizes it with the disk: the least that a
// durable write costs.
class DiskPeer : public Peer {
 public:
  // Creates a file in the folder.
  explicit DiskPeer(const std::string& folder);
  DiskPeer(const DiskPeer&) = delete;
  DiskPeer& operator=(const DiskPeer&) = delete;
  ~DiskPeer() override;

  Cost Measure(const Workload& workload) override;

 private:
  int file_;
};

}  // namespace bench

#endif
