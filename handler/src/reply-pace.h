// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_REPLY_PACE_H_
#define QOR_HANDLER_SRC_REPLY_PACE_H_

#include <cstddef>

namespace qor::internal {

// When the agent's replies to answers are awaited. One command at a time is fastest when each reply
// is awaited at once: the next command comes with it. Of many in flight the replies are better
// awaited together, before the main loop sleeps. Which of the two it is can only be seen by trying:
// now and then a reply is left for later, and if another command comes before it, more are in
// flight.
class ReplyPace {
 public:
  // How many answers are sent before one reply is left for later. Not 64, which a port serves in a
  // turn of the main loop: the last of a turn has no command after it.
  static constexpr std::size_t kAnswersPerTrial = 50;

  // Asked once for each answer that was sent.
  bool MayWait() { return are_many_in_flight_ || ++answers_ % kAnswersPerTrial == 0; }
  void OnCommandBeforeReply() { are_many_in_flight_ = true; }
  // So many replies were awaited together.
  void OnReplies(std::size_t count) {
    if (count < 2) are_many_in_flight_ = false;
  }

 private:
  bool are_many_in_flight_ = false;
  std::size_t answers_ = 0;
};

}  // namespace qor::internal

#endif
