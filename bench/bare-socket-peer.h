// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_BARE_SOCKET_PEER_H_
#define QOR_BENCH_BARE_SOCKET_PEER_H_

#include <memory>

#include "child-process.h"
#include "peer.h"

namespace bench {

// The limit: two processes that pass the bytes of a command and of its result through a Unix stream
// socket and do nothing else.
class BareSocketPeer : public Peer {
 public:
  BareSocketPeer();
  ~BareSocketPeer() override;

  std::string Name() const override { return "bare Unix socket"; }
  void Measure(std::size_t count, std::size_t payload_bytes, std::vector<double>& samples) override;

 private:
  int socket_ = -1;
  std::unique_ptr<ChildProcess> echo_;
};

}  // namespace bench

#endif
