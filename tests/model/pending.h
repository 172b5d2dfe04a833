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
  // Its timeout is being reported: its timer is not deleted with the command.
  bool expired = false;
  Clock::Timer timer = Clock::kNone;
};

// The pending commands of one handler, by position.
class Pending {
 public:
  // Both must outlive this object.
  Pending(Clock* clock, int* last_block) : clock_(clock), last_block_(last_block) {}

  // When full, moves all commands to a new block of twice the size and destroys the old positions.
  Command& Append(const Command& command);
  // Moves the later commands forward and destroys the last position.
  void Remove(const std::string& uuid);

  Command* Find(const std::string& uuid);
  // Returns the command at a position of the current block, or null.
  Command* At(Position position);

  // Returns false when the timer cannot be created.
  bool StartTimer(Command* command, double seconds);
  void StopTimer(Command* command);

  std::vector<Command>& Commands() { return commands_; }
  const std::vector<Command>& Commands() const { return commands_; }

 private:
  void DestroyPosition(const Command& command);

  Clock* clock_;
  int* last_block_;
  int block_ = 0;
  std::size_t capacity_ = 0;
  std::vector<Command> commands_;
};

}  // namespace model

#endif
