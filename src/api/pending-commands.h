// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_PENDING_COMMANDS_H_
#define QOR_SRC_API_PENDING_COMMANDS_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "api/ranked-slots.h"
#include "api/request-context.h"

namespace api {

// The commands that wait at one handler, in the order in which they were sent.
//
// Timers belong to places, and what happens to them when commands come and go is part of what
// clients and handlers observe. Space for n commands grows to 2n, from 1, which ends the timers of
// all commands that are there. A removal moves the later commands one place forward and ends the
// timer of the command that is last. A timer that fires runs the action of the command that is at
// its place by then. A timer that has lost its command runs on for its place, and ends with the
// list.
//
// Nothing is moved for that: a command stays in its slot, and its place is the number of commands
// in the slots before. To find, append or remove one takes the time of a hash and of a logarithm.
class PendingCommands final : private ContextPlaces {
 public:
  PendingCommands() = default;
  PendingCommands(const PendingCommands&) = delete;
  PendingCommands& operator=(const PendingCommands&) = delete;
  ~PendingCommands();

  // The uuid is not in the list yet.
  RequestContext& Append(rpc_port::stub::Command command, std::function<bool()> action);
  // The command of this uuid, or null. Valid until it is removed.
  RequestContext* Find(const std::string& uuid);
  // Removes the command of this uuid, if there is one; needs no memory.
  void Remove(const std::string& uuid);

  // In order; `function` changes nothing of the list.
  template <typename Function>
  void ForEach(Function function) {
    for (const auto& context : slots_)
      if (context) function(*context);
  }

 private:
  // What timers know of the space that they are bound to; it may be gone when they fire.
  struct Space {
    PendingCommands* commands;
  };
  class Place;
  struct Layout;

  std::shared_ptr<const TimerPlace> PlaceOf(const RequestContext& context) override;
  EcoreTimerGroup& Timers() override { return timers_; }

  // Room for more slots; the commands stand without gaps.
  static Layout MakeLayout(std::size_t capacity);
  void Adopt(Layout layout);
  void EndAllTimers();

  // How many commands there is space for.
  std::size_t capacity_ = 0;
  // Empty where a command was removed. Never as many as `ranks_` without being laid out anew.
  std::vector<std::unique_ptr<RequestContext>> slots_;
  RankedSlots ranks_{0};
  // By uuid; the texts are the commands' own.
  std::unordered_map<std::string_view, std::size_t> slots_by_uuid_;
  std::shared_ptr<Space> space_;
  // Last, so that all timers end at once before the commands are destroyed.
  EcoreTimerGroup timers_;
};

}  // namespace api

#endif
