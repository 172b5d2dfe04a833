// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_LIBRARY_PEER_H_
#define QOR_BENCH_PEERS_LIBRARY_PEER_H_

#include <functional>
#include <string>

#include "agent/agent.h"
#include "peers/peer.h"

namespace bench {

// The library: a command to a handler application and its result.
class LibraryPeer : public Peer {
 public:
  // An agent of the root, which was filled by FillRoot(); its handler 0 is connected.
  explicit LibraryPeer(const std::string& root);

  // Launches and connects the first `count` handlers.
  void Connect(std::size_t count);
  // Sends commands to a handler that does not answer them.
  void LeavePending(std::size_t count, std::size_t payload_bytes, std::size_t handler = 0);

  Cost Measure(const Slice& slice) override;

 private:
  // Status of a response.
  using OnResponse = std::function<void(int)>;

  // Not through the agent: it copies what the library hands over.
  void Send(const std::string& request_type, const std::string& payload);
  void SetOnResponse(OnResponse on_response);

  tools::Agent agent_;
  OnResponse on_response_;
  std::size_t sent_ = 0;
};

}  // namespace bench

#endif
