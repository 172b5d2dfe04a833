// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "peers/peer.h"

#include <cstdio>

namespace bench {

namespace {

Worker::Task TaskOf(std::shared_ptr<Peer> peer) {
  return [peer](const Numbers& numbers) -> Numbers {
    const Cost cost =
        peer->Measure({static_cast<std::size_t>(numbers[0]), static_cast<std::size_t>(numbers[1]),
                       static_cast<std::size_t>(numbers[2]), static_cast<std::size_t>(numbers[3])});
    return {cost.wall, cost.cpu, cost.own_cpu, cost.send, cost.resident, cost.writes};
  };
}

}  // namespace

PeerProcess::PeerProcess(const std::function<std::unique_ptr<Peer>()>& make)
    : worker_([&make] { return TaskOf(make()); }) {
  // Fail here rather than in the middle of the measurements.
  Measure({1, 1});
}

Cost PeerProcess::Measure(const Workload& workload) {
  const Numbers numbers = worker_.Call(
      {static_cast<double>(workload.count), static_cast<double>(workload.payload_bytes),
       static_cast<double>(workload.in_flight), static_cast<double>(workload.handlers)});
  return {numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], numbers[5]};
}

std::string Texts::Uuid(std::size_t number) {
  char text[37];
  std::snprintf(text, sizeof text, "%036zu", number);
  return text;
}

}  // namespace bench
