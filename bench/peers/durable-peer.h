// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_DURABLE_PEER_H_
#define QOR_BENCH_PEERS_DURABLE_PEER_H_

#include <qor_agent.h>

#include <functional>
#include <string>
#include <vector>

#include "peers/peer.h"

namespace bench {

// A command to a handler application and its outcome, through the library for durable commands.
// Outcomes are confirmed, and followed by as many commands, once per iteration of the main loop.
class DurablePeer : public Peer {
 public:
  // Starts an agent in a root that FillRoot() filled, and connects its handler 0. An empty journal
  // stores nothing.
  DurablePeer(const std::string& root, const std::string& journal, unsigned window);
  DurablePeer(const DurablePeer&) = delete;
  DurablePeer& operator=(const DurablePeer&) = delete;
  ~DurablePeer() override;

  Cost Measure(const Workload& workload) override;

 private:
  void Submit(std::size_t count, const std::string& payload);
  void OnOutcome(const qor_agent_outcome_s& outcome);

  qor_agent_h agent_ = nullptr;
  std::function<void()> on_outcome_;
  bool has_failed_ = false;
  std::size_t submitted_ = 0;
};

// Submits commands that no handler serves to a new journal.
void HoldCommands(const std::string& journal, std::size_t count, std::size_t payload_bytes);

// Opens an agent.
qor_agent_h OpenAgent(qor_agent_settings_s settings);

}  // namespace bench

#endif
