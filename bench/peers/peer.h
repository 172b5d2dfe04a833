// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_PEER_H_
#define QOR_BENCH_PEERS_PEER_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "support/worker.h"

namespace bench {

// A number of round trips.
struct Workload {
  std::size_t count;
  std::size_t payload_bytes;
  std::size_t in_flight = 1;  // concurrent round trips
  std::size_t handlers = 1;   // number of handlers, used in turn; only LibraryPeer has several
};

// The cost of one round trip of a workload, in microseconds.
struct Cost {
  double wall = 0;      // the median with one in flight, else the average
  double cpu = 0;       // of all processes
  double own_cpu = 0;   // of the sending process
  double send = 0;      // the median of the send call; 0 when not measured
  double resident = 0;  // private memory of the sender afterwards, in bytes
  double writes = 0;    // transactions of the sender's journal
};

// A transport of commands to another process and results back.
class Peer {
 public:
  virtual ~Peer() = default;
  // Throws std::runtime_error.
  virtual Cost Measure(const Workload& workload) = 0;
};

// Runs a peer in a child process.
class PeerProcess {
 public:
  // Calls `make` in the new process. Throws std::runtime_error when the peer does not work.
  explicit PeerProcess(const std::function<std::unique_ptr<Peer>()>& make);
  Cost Measure(const Workload& workload);

 private:
  Worker worker_;
};

// The texts of a command, the same for all peers.
struct Texts {
  std::string request_type = "text.echo.0";
  std::string payload;

  explicit Texts(std::size_t payload_bytes) : payload(payload_bytes, 'x') {}
  // As long as any uuid.
  static std::string Uuid(std::size_t number);
};

}  // namespace bench

#endif
