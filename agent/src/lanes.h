// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_LANES_H_
#define QOR_AGENT_SRC_LANES_H_

#include <cstddef>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "records.h"

namespace qor::agent {

// Held commands in the order in which they may be sent.
//
// The library alone knows which of several handlers gets a command. Request types that have a
// handler in common therefore share a lane, so that commands of different lanes never reach the
// same handler; a lane's window then bounds what is in flight at any of its handlers.
class Lanes {
 public:
  explicit Lanes(std::size_t window) : window_(window) {}

  // Redraws the lanes; what is held and in flight stays.
  void SetHandlers(const std::vector<std::vector<std::string>>& request_types_of_handlers);

  void Hold(Command* command);
  // Not held: no effect.
  void Remove(const Command& command);

  // Takes out the undelivered commands of request types that no handler serves, except those that
  // wait for one.
  std::vector<Command*> TakeUnserved();
  bool IsServed(const std::string& type) { return QueueOf(type).is_served; }
  // Takes out the next commands that the windows admit at this time, and counts them as in flight.
  std::vector<Command*> TakeReady(BootMs now);
  // A command is no longer in flight.
  void Release(const std::string& type);

  // An attempt was not delivered: commands of the type wait, twice as long after each such attempt.
  void BackOff(const std::string& type, BootMs now);
  // An attempt was delivered, or a handler was installed.
  void ResetBackoff(const std::string& type);
  void ResetAllBackoffs();

  // When a command may become ready without another call; kNever when none may.
  static constexpr BootMs kNever = std::numeric_limits<BootMs>::max();
  BootMs NextReady(BootMs now) const;

 private:
  struct Queue {
    std::map<std::int64_t, Command*> held;  // by sequence
    std::size_t in_flight = 0;
    BootMs not_before = 0;
    BootMs backoff = 0;
    std::size_t lane = 0;
    bool is_served = false;
  };
  struct Lane {
    std::size_t in_flight = 0;
    std::vector<Queue*> queues;
  };

  Queue& QueueOf(const std::string& type);
  void NoteUnserved(const Queue& queue, Command* command);
  // The queue whose oldest command is the lane's next; null when none may be sent at this time.
  static Queue* NextQueue(const Lane& lane, BootMs now);

  const std::size_t window_;
  std::map<std::string, Queue> queues_;  // by request type
  std::vector<Lane> lanes_;
  // Unserved, and not waiting for a handler.
  std::map<std::int64_t, Command*> unserved_;  // by sequence
  // Lanes that may hold commands.
  std::set<std::size_t> waiting_;
};

}  // namespace qor::agent

#endif
