// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/pending-commands.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace api {

RequestContext& PendingCommands::Append(rpc_port::stub::Command command,
                                        std::function<bool()> action) {
  // All allocations come before the first modification.
  std::list<RequestContext> added;
  added.emplace_back(std::move(command), std::move(action));
  by_uuid_.emplace(added.front().GetCommand().uuid, added.begin());

  if (Size() == capacity_) {
    ForEach([](RequestContext& context) { context.EndTimer(); });
    capacity_ = std::max<std::size_t>(1, 2 * capacity_);
  }
  commands_.splice(commands_.end(), added);
  return commands_.back();
}

RequestContext* PendingCommands::Find(const std::string& uuid) {
  const auto found = by_uuid_.find(uuid);
  return found != by_uuid_.end() ? &*found->second : nullptr;
}

void PendingCommands::Remove(const std::string& uuid) {
  const auto found = by_uuid_.find(uuid);
  if (found == by_uuid_.end()) return;
  const auto removed = found->second;
  commands_.back().EndTimer();
  by_uuid_.erase(found);
  commands_.erase(removed);
}

void PendingCommands::StartTimer(RequestContext& context, std::size_t position, double seconds) {
  // A timer that was started before the list grew has no owner.
  const auto find_owner = [this, capacity = capacity_, position] {
    return capacity == capacity_ ? TimerAt(position) : nullptr;
  };
  context.StartTimer(seconds, timers_, find_owner);
}

const EcoreTimerWrapper* PendingCommands::TimerAt(std::size_t position) const {
  if (position >= Size()) return nullptr;
  return &std::next(commands_.begin(), static_cast<std::ptrdiff_t>(position))->Timer();
}

}  // namespace api
