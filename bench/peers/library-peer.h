// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_LIBRARY_PEER_H_
#define QOR_BENCH_PEERS_LIBRARY_PEER_H_

#include <functional>
#include <string>

#include "peers/peer.h"
#include "plain-agent.h"

namespace bench {

// A command to a handler application and its result, through the library.
class LibraryPeer : public Peer {
 public:
  // Starts an agent in a root that FillRoot() filled, and connects its handler 0.
  explicit LibraryPeer(const std::string& root);

  // Launches and connects the first `count` handlers.
  void Connect(std::size_t count);
  // Sends commands that the handler does not answer.
  void LeavePending(std::size_t count, std::size_t payload_bytes, std::size_t handler = 0);

  Cost Measure(const Workload& workload) override;

 private:
  // Called with the status of a response.
  using OnResponse = std::function<void(int)>;

  // Both bypass support::PlainAgent, which copies every response.
  void Send(const std::string& request_type, const std::string& payload);
  void SetOnResponse(OnResponse on_response);

  support::PlainAgent agent_;
  OnResponse on_response_;
  std::size_t sent_ = 0;
};

}  // namespace bench

#endif
