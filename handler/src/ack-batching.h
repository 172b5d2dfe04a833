// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_ACK_BATCHING_H_
#define QOR_HANDLER_SRC_ACK_BATCHING_H_

#include <cstddef>

namespace qor::internal {

// Decides when to await the agent's acks of answers.
//
// With one command in flight, awaiting each ack at once is fastest: the next command arrives with
// it. With many in flight, it costs two context switches per answer, so the acks are awaited
// together before the main loop sleeps. The number in flight is not known here and is probed: an
// ack is deferred now and then, and a command that arrives before it shows that more are in flight.
class AckBatching {
 public:
  // A prime: probes must not stay aligned with the batches in which a platform delivers messages,
  // because no command follows the last answer of a batch.
  static constexpr std::size_t kAnswersPerProbe = 53;

  // Returns whether the ack of the answer just sent may be awaited later. Call once per answer.
  bool MayDefer() { return is_batching_ || ++answers_ % kAnswersPerProbe == 0; }
  // A command arrived while an ack was deferred.
  void OnCommandBeforeAck() { is_batching_ = true; }
  // `count` acks were awaited together.
  void OnAcks(std::size_t count) {
    if (count < 2) is_batching_ = false;
  }

 private:
  bool is_batching_ = false;
  std::size_t answers_ = 0;
};

}  // namespace qor::internal

#endif
