// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/pending-commands.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace api {

// The n-th place of a space.
class PendingCommands::Place : public TimerPlace {
 public:
  Place(std::shared_ptr<const Space> space, std::size_t index)
      : space_(std::move(space)), index_(index) {}

  const EcoreTimerWrapper* Occupant() const override {
    const PendingCommands* commands = space_->commands;
    if (commands == nullptr || index_ >= commands->slots_by_uuid_.size()) return nullptr;
    return &commands->slots_[commands->ranks_.Find(index_)]->Timer();
  }

 private:
  const std::shared_ptr<const Space> space_;
  const std::size_t index_;
};

// All memory that a new order of the slots needs.
struct PendingCommands::Layout {
  std::vector<std::unique_ptr<RequestContext>> slots;
  RankedSlots ranks;
};

PendingCommands::~PendingCommands() {
  if (space_) space_->commands = nullptr;
}

RequestContext& PendingCommands::Append(rpc_port::stub::Command command,
                                        std::function<bool()> action) {
  auto context = std::make_unique<RequestContext>(std::move(command), std::move(action),
                                                  static_cast<ContextPlaces*>(this));
  const std::string_view uuid = context->GetCommand().uuid;
  const std::size_t count = slots_by_uuid_.size();
  if (count == 0) slots_.clear();

  // First all that may fail for want of memory.
  const bool grows = count == capacity_;
  const bool is_laid_out = grows || slots_.size() == ranks_.Size();
  const std::size_t capacity = grows ? std::max<std::size_t>(1, 2 * capacity_) : capacity_;
  std::optional<Layout> layout;
  if (is_laid_out) layout = MakeLayout(capacity);
  auto space = grows ? std::make_shared<Space>(Space{this}) : nullptr;
  slots_by_uuid_.emplace(uuid, is_laid_out ? count : slots_.size());

  if (grows) {
    EndAllTimers();
    if (space_) space_->commands = nullptr;
    space_ = std::move(space);
    capacity_ = capacity;
  }
  if (layout) Adopt(*std::move(layout));
  ranks_.Take(slots_.size());
  slots_.push_back(std::move(context));
  return *slots_.back();
}

RequestContext* PendingCommands::Find(const std::string& uuid) {
  const auto found = slots_by_uuid_.find(uuid);
  return found != slots_by_uuid_.end() ? slots_[found->second].get() : nullptr;
}

void PendingCommands::Remove(const std::string& uuid) {
  const auto found = slots_by_uuid_.find(uuid);
  if (found == slots_by_uuid_.end()) return;
  slots_[ranks_.Find(slots_by_uuid_.size() - 1)]->EndTimer();
  const std::size_t slot = found->second;
  slots_by_uuid_.erase(found);
  ranks_.Free(slot);
  slots_[slot].reset();
}

std::shared_ptr<const TimerPlace> PendingCommands::PlaceOf(const RequestContext& context) {
  const std::size_t slot = slots_by_uuid_.find(context.GetCommand().uuid)->second;
  return std::make_shared<const Place>(space_, ranks_.Rank(slot));
}

PendingCommands::Layout PendingCommands::MakeLayout(std::size_t capacity) {
  // As many free slots as there is space for commands: laying out is rare enough not to count.
  const std::size_t slots = 2 * capacity;
  Layout layout{{}, RankedSlots(slots)};
  layout.slots.reserve(slots);
  return layout;
}

void PendingCommands::Adopt(Layout layout) {
  for (auto& context : slots_) {
    if (!context) continue;
    slots_by_uuid_.find(context->GetCommand().uuid)->second = layout.slots.size();
    layout.ranks.Take(layout.slots.size());
    layout.slots.push_back(std::move(context));
  }
  slots_ = std::move(layout.slots);
  ranks_ = std::move(layout.ranks);
}

void PendingCommands::EndAllTimers() {
  ForEach([](RequestContext& context) { context.EndTimer(); });
}

}  // namespace api
