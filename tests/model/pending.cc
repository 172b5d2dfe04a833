// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "pending.h"

#include <algorithm>

namespace model {

Command& Pending::Append(const Command& command) {
  if (commands_.size() == capacity_) {
    capacity_ = capacity_ == 0 ? 1 : 2 * capacity_;
    block_ = ++*last_block_;
    for (const Command& old : commands_) DestroyPosition(old);
  }
  commands_.push_back(command);
  return commands_.back();
}

void Pending::Remove(const std::string& uuid) {
  const Command* removed = Find(uuid);
  if (!removed) return;
  const auto index = static_cast<std::size_t>(removed - commands_.data());
  for (std::size_t i = index; i + 1 < commands_.size(); ++i) commands_[i] = commands_[i + 1];
  DestroyPosition(commands_.back());
  commands_.pop_back();
}

Command* Pending::Find(const std::string& uuid) {
  const auto found = std::find_if(commands_.begin(), commands_.end(),
                                  [&uuid](const Command& command) { return command.uuid == uuid; });
  return found == commands_.end() ? nullptr : &*found;
}

Command* Pending::At(Position position) {
  return position.block == block_ && position.index < commands_.size() ? &commands_[position.index]
                                                                       : nullptr;
}

bool Pending::StartTimer(Command* command, double seconds) {
  StopTimer(command);
  const auto index = static_cast<std::size_t>(command - commands_.data());
  command->timer = clock_->Start(seconds, {block_, index});
  return command->timer != Clock::kNone;
}

void Pending::StopTimer(Command* command) {
  clock_->Delete(command->timer);
  command->timer = Clock::kNone;
}

void Pending::DestroyPosition(const Command& command) {
  if (!command.expired) clock_->Delete(command.timer);
}

}  // namespace model
