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
struct Slice {
  std::size_t count;
  std::size_t payload_bytes;
  std::size_t in_flight = 1;  // how many are under way at any time
  std::size_t handlers = 1;   // to how many they go in turn, of peers that have several
};

// What one round trip of a slice took, in microseconds.
struct Cost {
  double wall = 0;      // of one at a time the median, else the slice's time by its count
  double cpu = 0;       // of all processes that took part
  double own_cpu = 0;   // of the process that sent the commands
  double send = 0;      // the median call that sends a command; 0 where it is not told apart
  double resident = 0;  // bytes of memory of its own that the sender holds afterwards
};

// Someone who can carry a command to another process and its result back.
class Peer {
 public:
  virtual ~Peer() = default;
  // Throws std::runtime_error.
  virtual Cost Measure(const Slice& slice) = 0;
};

// A peer in a process of its own.
class PeerProcess {
 public:
  // `make` runs in the new process.
  explicit PeerProcess(const std::function<std::unique_ptr<Peer>()>& make);
  Cost Measure(const Slice& slice);

 private:
  Worker worker_;
};

// The texts of one command, the same for every peer.
struct Texts {
  std::string request_type = "text.echo.0";
  std::string payload;

  explicit Texts(std::size_t payload_bytes) : payload(payload_bytes, 'x') {}
  // As long as any uuid.
  static std::string Uuid(std::size_t number);
};

}  // namespace bench

#endif
