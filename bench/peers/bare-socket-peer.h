// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_BARE_SOCKET_PEER_H_
#define QOR_BENCH_PEERS_BARE_SOCKET_PEER_H_

#include <memory>
#include <vector>

#include "peers/peer.h"
#include "support/child-process.h"

namespace bench {

// The limit: two processes that pass as many bytes as a command and its result have through a Unix
// stream socket and do nothing else.
class BareSocketPeer : public Peer {
 public:
  BareSocketPeer();
  ~BareSocketPeer() override;

  Cost Measure(const Slice& slice) override;

 private:
  int socket_ = -1;
  std::unique_ptr<ChildProcess> echo_;
};

}  // namespace bench

#endif
