// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_PENDING_COMMANDS_H_
#define QOR_SRC_API_PENDING_COMMANDS_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "api/request-context.h"

namespace api {

// The commands that wait at one handler, in the order in which they were sent.
//
// Timers belong to places, and what happens to them when commands come and go is part of what
// clients and handlers observe. Space for n commands grows to 2n, from 1: every command is copied
// over and its old copy destroyed, which ends its timer. A removal moves the later commands one
// place forward and destroys the last place, which ends the timer of the command that was last. A
// timer that fires runs the action of the command that is at its place by then.
class PendingCommands {
 public:
  RequestContext& Append(rpc_port::stub::Command command, std::function<bool()> action);
  // The first command of this uuid, or null. Valid until a command is appended or removed.
  RequestContext* Find(const std::string& uuid);
  // Removes the first command of this uuid, if there is one.
  void Remove(const std::string& uuid);

  std::vector<RequestContext>::iterator begin() { return contexts_.begin(); }
  std::vector<RequestContext>::iterator end() { return contexts_.end(); }

 private:
  std::vector<RequestContext> contexts_;
  // Places that a removal left, by index: a timer may still be bound there when the next command
  // comes to occupy it. As many as there is space for commands, so that a removal needs no memory;
  // all empty whenever the space grows, since only full space does.
  std::vector<std::shared_ptr<TimerPlace>> vacated_;
};

}  // namespace api

#endif
