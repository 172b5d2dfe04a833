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

// The pending commands of one handler, in the order in which they were sent.
//
// A timer is bound to an index of the list, not to a command, and what happens to timers when
// commands come and go is part of what clients and handlers observe. The capacity grows from n to
// 2n, starting at 1; growing ends the timers of all commands in the list. A removal moves the later
// commands one index forward and ends the timer of the last command. A timer that fires runs the
// action of the command that is at its index by then, if there is one. A timer whose command was
// removed keeps running for its index, and ends with the list at the latest.
//
// Append, Find and Remove take constant time; a timer that fires walks to its index.
class PendingCommands final {
 public:
  PendingCommands() = default;
  PendingCommands(const PendingCommands&) = delete;
  PendingCommands& operator=(const PendingCommands&) = delete;

  std::size_t Size() const { return commands_.size(); }
  // The uuid is not in the list yet. When memory runs out, nothing has changed.
  RequestContext& Append(rpc_port::stub::Command command, std::function<bool()> action);
  // The command of this uuid, or null. Valid until it is removed.
  RequestContext* Find(const std::string& uuid);
  // Removes the command of this uuid, if there is one. Allocates nothing.
  void Remove(const std::string& uuid);
  // Starts the timer of the command at this index. Throws as RequestContext::StartTimer() does.
  void StartTimer(RequestContext& context, std::size_t index, double seconds);

  // Calls `function` for each command, in order; it must not change the list.
  template <typename Function>
  void ForEach(Function function) {
    for (RequestContext& context : commands_) function(context);
  }

 private:
  // Null where there is no command.
  const EcoreTimerWrapper* TimerAt(std::size_t index) const;

  std::size_t capacity_ = 0;
  std::list<RequestContext> commands_;
  // The keys are the commands' own texts.
  std::unordered_map<std::string_view, std::list<RequestContext>::iterator> by_uuid_;
  // Last, so that all timers end before what they refer to is destroyed.
  EcoreTimerGroup timers_{common::kLogTag};
};

}  // namespace api

#endif
