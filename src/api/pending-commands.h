// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_PENDING_COMMANDS_H_
#define QOR_SRC_API_PENDING_COMMANDS_H_

#include <cstddef>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

#include "api/request-context.h"
#include "common/platform-names.h"

namespace api {

// The pending commands of one handler, in the order of sending.
//
// Timers behave as in a vector that copies its elements when it grows, because clients and handlers
// observe the effects:
// - A timer belongs to a position in the list, not to a command. When it fires, it runs the action
//   of the command that owns the position at that time, if any.
// - The capacity grows from n to 2n, starting at 1. Growth deletes the timers of all commands.
// - A removal moves the later commands one position forward and deletes the timer of the last one.
//   The timer of the removed command keeps running for its position.
// - The destructor deletes all timers.
//
// Append, Find and Remove take constant time; a timer that fires walks to its position.
class PendingCommands final {
 public:
  PendingCommands() = default;
  PendingCommands(const PendingCommands&) = delete;
  PendingCommands& operator=(const PendingCommands&) = delete;

  std::size_t Size() const { return commands_.size(); }
  // Adds a command whose uuid is not in the list. No effect when out of memory.
  RequestContext& Append(rpc_port::stub::Command command, std::function<bool()> action);
  // Returns the command with this uuid, or null. Valid until it is removed.
  RequestContext* Find(const std::string& uuid);
  // Removes the command with this uuid, if any. Allocates nothing.
  void Remove(const std::string& uuid);
  // Starts the timer of the command at this position. Throws as RequestContext::StartTimer() does.
  void StartTimer(RequestContext& context, std::size_t position, double seconds);

  // Calls `function` for each command, in order. It must not modify the list.
  template <typename Function>
  void ForEach(Function function) {
    for (RequestContext& context : commands_) function(context);
  }

 private:
  // Returns the timer of the owner of a position; null if there is no command.
  const EcoreTimerWrapper* TimerAt(std::size_t position) const;

  std::size_t capacity_ = 0;
  std::list<RequestContext> commands_;
  // The keys refer to the uuids in the commands.
  std::unordered_map<std::string_view, std::list<RequestContext>::iterator> by_uuid_;
  // Last, so that the timers are deleted before the members that they refer to.
  EcoreTimerGroup timers_{common::kLogTag};
};

}  // namespace api

#endif
