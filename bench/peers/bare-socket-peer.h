// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_BARE_SOCKET_PEER_H_
#define QOR_BENCH_PEERS_BARE_SOCKET_PEER_H_

#include <memory>
#include <vector>

#include "peers/peer.h"
#include "support/child-process.h"

namespace bench {

// The lower limit: two processes that only pass the bytes of a command and its result through a
// Unix stream socket.
class BareSocketPeer : public Peer {
 public:
  BareSocketPeer();
  ~BareSocketPeer() override;

  Cost Measure(const Workload& workload) override;

 private:
  int socket_ = -1;
  std::unique_ptr<ChildProcess> echo_;
};

}  // namespace bench

#endif
