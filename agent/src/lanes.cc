// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "lanes.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace qor::agent {

namespace {

// As long as a handler may take to start, so that a broken one costs little; and short enough that
// a repaired one is found soon.
constexpr BootMs kFirstBackoffMs = 1000;
constexpr BootMs kMaxBackoffMs = 60'000;

// Disjoint sets of small numbers.
class Partition {
 public:
  explicit Partition(std::size_t size) : parents_(size) {
    std::iota(parents_.begin(), parents_.end(), std::size_t{0});
  }
  std::size_t Find(std::size_t member) {
    while (parents_[member] != member) {
      parents_[member] = parents_[parents_[member]];
      member = parents_[member];
    }
    return member;
  }
  void Join(std::size_t a, std::size_t b) { parents_[Find(a)] = Find(b); }

 private:
  std::vector<std::size_t> parents_;
};

}  // namespace

void Lanes::SetHandlers(const std::vector<std::vector<std::string>>& request_types_of_handlers) {
  for (auto& [type, queue] : queues_) queue.is_served = false;
  for (const auto& types : request_types_of_handlers) {
    for (const std::string& type : types) queues_[type].is_served = true;
  }
  std::size_t count = 0;
  for (auto& [type, queue] : queues_) queue.lane = count++;
  Partition partition(count);
  for (const auto& types : request_types_of_handlers) {
    for (const std::string& type : types) {
      partition.Join(queues_[type].lane, queues_[types.front()].lane);
    }
  }
  lanes_.assign(count, Lane{});
  waiting_.clear();
  for (auto& [type, queue] : queues_) {
    queue.lane = partition.Find(queue.lane);
    Lane& lane = lanes_[queue.lane];
    lane.queues.push_back(&queue);
    lane.in_flight += queue.in_flight;
    if (!queue.held.empty()) waiting_.insert(queue.lane);
  }
  unserved_.clear();
  for (auto& [type, queue] : queues_) {
    for (const auto& [sequence, command] : queue.held) NoteUnserved(queue, command);
  }
}

void Lanes::NoteUnserved(const Queue& queue, Command* command) {
  // What may have been delivered before waits for a late answer.
  const bool is_undelivered = command->state == State::kHeld;
  if (!queue.is_served && !command->waits_for_handler && is_undelivered)
    unserved_[command->sequence] = command;
}

std::vector<Command*> Lanes::TakeUnserved() {
  std::vector<Command*> unserved;
  for (const auto& [sequence, command] : unserved_) unserved.push_back(command);
  for (Command* command : unserved) Remove(*command);
  return unserved;
}

Lanes::Queue& Lanes::QueueOf(const std::string& type) {
  const auto [found, is_new] = queues_.try_emplace(type);
  Queue& queue = found->second;
  if (is_new) {
    // No handler serves it.
    queue.lane = lanes_.size();
    lanes_.emplace_back().queues.push_back(&queue);
  }
  return queue;
}

void Lanes::Hold(Command* command) {
  Queue& queue = QueueOf(command->type);
  queue.held.emplace(command->sequence, command);
  waiting_.insert(queue.lane);
  NoteUnserved(queue, command);
}

void Lanes::Remove(const Command& command) {
  QueueOf(command.type).held.erase(command.sequence);
  unserved_.erase(command.sequence);
}

Lanes::Queue* Lanes::NextQueue(const Lane& lane, BootMs now) {
  Queue* next = nullptr;
  for (Queue* queue : lane.queues) {
    if (queue->held.empty() || queue->not_before > now || !queue->is_served) continue;
    if (next == nullptr || queue->held.begin()->first < next->held.begin()->first) next = queue;
  }
  return next;
}

std::vector<Command*> Lanes::TakeReady(BootMs now) {
  std::vector<Command*> ready;
  for (auto id = waiting_.begin(); id != waiting_.end();) {
    Lane& lane = lanes_[*id];
    while (lane.in_flight < window_) {
      Queue* const queue = NextQueue(lane, now);
      if (queue == nullptr) break;
      const auto first = queue->held.begin();
      ready.push_back(first->second);
      queue->held.erase(first);
      ++queue->in_flight;
      ++lane.in_flight;
    }
    const bool is_empty = std::all_of(lane.queues.begin(), lane.queues.end(),
                                      [](const Queue* queue) { return queue->held.empty(); });
    id = is_empty ? waiting_.erase(id) : std::next(id);
  }
  std::sort(ready.begin(), ready.end(),
            [](const Command* a, const Command* b) { return a->sequence < b->sequence; });
  return ready;
}

void Lanes::Release(const std::string& type) {
  Queue& queue = QueueOf(type);
  --queue.in_flight;
  --lanes_[queue.lane].in_flight;
}

void Lanes::BackOff(const std::string& type, BootMs now) {
  Queue& queue = QueueOf(type);
  queue.backoff = std::clamp(queue.backoff * 2, kFirstBackoffMs, kMaxBackoffMs);
  queue.not_before = now + queue.backoff;
}

void Lanes::ResetBackoff(const std::string& type) {
  Queue& queue = QueueOf(type);
  queue.backoff = 0;
  queue.not_before = 0;
}

void Lanes::ResetAllBackoffs() {
  for (auto& [type, queue] : queues_) queue.backoff = queue.not_before = 0;
}

BootMs Lanes::NextReady(BootMs now) const {
  if (!unserved_.empty()) return now;
  BootMs next = kNever;
  for (const std::size_t id : waiting_) {
    const Lane& lane = lanes_[id];
    if (lane.in_flight >= window_) continue;
    for (const Queue* queue : lane.queues) {
      if (!queue->held.empty() && queue->is_served)
        next = std::min(next, std::max(queue->not_before, now));
    }
  }
  return next;
}

}  // namespace qor::agent
