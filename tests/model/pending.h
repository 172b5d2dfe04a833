// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_PENDING_H_
#define TESTS_MODEL_PENDING_H_

#include <string>
#include <vector>

#include "clock.h"

namespace model {

enum class Timeout { kConnection, kExecution };

struct Command {
  std::string uuid;
  std::string type;
  std::string payload;
  long long timestamp = 0;
  Timeout timeout = Timeout::kConnection;
  bool sent = false;
  // Its timeout is being told: whatever timer it has outlives it.
  bool expired = false;
  Clock::Timer timer = Clock::kNone;
};

// The commands that wait at one handler, by place.
class Pending {
 public:
  // Both outlive this.
  Pending(Clock* clock, int* last_block) : clock_(clock), last_block_(last_block) {}

  // Full space becomes a new block of twice the size: the old places are destroyed.
  Command& Append(const Command& command);
  // Moves the later commands forward and destroys the last place.
  void Remove(const std::string& uuid);

  Command* Find(const std::string& uuid);
  // The command at a place of this storage, or null.
  Command* At(Place place);

  // False when the timer cannot be made.
  bool StartTimer(Command* command, double seconds);
  void StopTimer(Command* command);

  std::vector<Command>& Commands() { return commands_; }
  const std::vector<Command>& Commands() const { return commands_; }

 private:
  void DestroyPlace(const Command& command);

  Clock* clock_;
  int* last_block_;
  int block_ = 0;
  std::size_t capacity_ = 0;
  std::vector<Command> commands_;
};

}  // namespace model

#endif
