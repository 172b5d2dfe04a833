// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEER_H_
#define QOR_BENCH_PEER_H_

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

// Someone who can carry a command to another process and its result back.
class Peer {
 public:
  virtual ~Peer() = default;
  virtual std::string Name() const = 0;
  // Does `count` round trips, one after another, with a payload of `payload_bytes`; appends the
  // time of each, in microseconds.
  virtual void Measure(std::size_t count, std::size_t payload_bytes,
                       std::vector<double>& samples) = 0;
};

// The texts of one command, the same for every peer.
struct Texts {
  std::string uuid = "0b9c1f0e-5d3a-4a57-9d7c-3f6f2c1a7e10";
  std::string request_type = "text.echo";
  std::string payload;

  explicit Texts(std::size_t payload_bytes) : payload(payload_bytes, 'x') {}
};

class Stopwatch {
 public:
  Stopwatch();
  // Microseconds since the last call, or since the start.
  double Lap();

 private:
  double last_;
};

}  // namespace bench

#endif
