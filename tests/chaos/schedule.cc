// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "schedule.h"

#include <algorithm>
#include <functional>
#include <random>

#include "handlers.h"

namespace chaos {

namespace {

using Milliseconds = std::chrono::milliseconds;

class ScheduleGenerator {
 public:
  ScheduleGenerator(std::uint64_t seed, Milliseconds length) : random_(seed), end_(length) {}

  std::vector<Step> Make() {
    // The first argument is the mean interval in milliseconds.
    Repeat(200, end_, &ScheduleGenerator::Burst);
    Repeat(1'200, end_,
           [](ScheduleGenerator& self) { self.OnHandler(Action::kKillHandler, 0, 0); });
    Repeat(2'000, end_,
           [](ScheduleGenerator& self) { self.OnHandler(Action::kPauseHandler, 50, 4'000); });
    Repeat(3'000, end_, &ScheduleGenerator::Install);
    Repeat(6'000, end_, [](ScheduleGenerator& self) { self.OnHandler(Action::kUninstall, 0, 0); });
    Repeat(12'000, end_,
           [](ScheduleGenerator& self) { self.OnHandler(Action::kInterruptInstall, 0, 150); });
    Repeat(9'000, end_,
           [](ScheduleGenerator& self) { self.OnAgent(Action::kPauseAgent, 50, 1'500); });
    Repeat(15'000, end_,
           [](ScheduleGenerator& self) { self.OnAgent(Action::kFillDisk, 500, 3'000); });
    Repeat(9'000, end_ / 2,
           [](ScheduleGenerator& self) { self.OnAgent(Action::kKillAgent, 0, 0); });
    Repeat(14'000, end_ / 2,
           [](ScheduleGenerator& self) { self.OnAgent(Action::kTerminateAgent, 0, 0); });
    Repeat(14'000, end_,
           [](ScheduleGenerator& self) { self.OnAgent(Action::kRestartLibrary, 0, 0); });
    AddDurableCommands();
    std::stable_sort(steps_.begin(), steps_.end(),
                     [](const Step& a, const Step& b) { return a.at < b.at; });
    return std::move(steps_);
  }

 private:
  void AddDurableCommands() {
    Repeat(400, end_, &ScheduleGenerator::SubmitBurst);
    Repeat(3'000, end_,
           [](ScheduleGenerator& self) { self.OnDurableHandler(Action::kKillHandler, 0, 0); });
    Repeat(4'000, end_, [](ScheduleGenerator& self) {
      self.OnDurableHandler(Action::kPauseHandler, 50, 4'000);
    });
    Repeat(15'000, end_,
           [](ScheduleGenerator& self) { self.OnDurableHandler(Action::kInstall, 0, 0); });
    Repeat(6'000, end_,
           [](ScheduleGenerator& self) { self.OnAgent(Action::kKillDurableAgent, 0, 0); });
    Repeat(9'000, end_,
           [](ScheduleGenerator& self) { self.OnAgent(Action::kPauseDurableAgent, 50, 1'500); });
    Repeat(20'000, end_,
           [](ScheduleGenerator& self) { self.OnAgent(Action::kReopenDurableAgent, 0, 0); });
  }

  // The results of the standard library's distributions depend on the implementation.
  int Pick(int from, int to) {
    return from + static_cast<int>(random_() % static_cast<std::uint64_t>(to - from + 1));
  }
  bool OneIn(int number) { return Pick(1, number) == 1; }

  template <typename Function>
  void Repeat(int mean, Milliseconds to, Function function) {
    const auto interval = [&] { return Milliseconds(Pick(1, 2 * mean)); };
    for (now_ = interval(); now_ < to; now_ += interval()) {
      const Milliseconds begin = now_;
      std::invoke(function, *this);
      now_ = begin;
    }
  }

  Step& Add(Action action) {
    steps_.push_back({});
    steps_.back().at = now_;
    steps_.back().action = action;
    return steps_.back();
  }

  void OnAgent(Action action, int from, int to) {
    Add(action).duration = Milliseconds(Pick(from, to));
  }

  void OnHandler(Action action, int from, int to) {
    Step& step = Add(action);
    step.handler = Pick(0, kHandlers - 1);
    step.version = Pick(0, kVersions - 1);
    step.duration = Milliseconds(Pick(from, to));
  }

  void OnDurableHandler(Action action, int from, int to) {
    OnHandler(action, from, to);
    steps_.back().handler = kHandlers + Pick(0, kDurableHandlers - 1);
  }

  // Submits commands to one handler, more than its window.
  void SubmitBurst() {
    const int handler = kHandlers + Pick(0, kDurableHandlers - 1);
    const auto& behaviors = BehaviorsOf(handler);
    for (int count = OneIn(4) ? Pick(1, 12) : 1; count > 0; --count) {
      Step& step = Add(Action::kSubmit);
      // Mostly of the first, which answers.
      const int last = OneIn(2) ? static_cast<int>(behaviors.size()) - 1 : 0;
      step.type = TypeOf(handler, behaviors[static_cast<std::size_t>(Pick(0, last))]);
      step.duration = Milliseconds(OneIn(4) ? Pick(0, 1'500) : Pick(0, 60));
      step.bytes = OneIn(8) ? Pick(1, 6'000) : Pick(1, 40);
    }
  }

  void Install() { OnHandler(Action::kInstall, 0, 0); }

  // Sends several commands to one handler, so that its pending list grows and shrinks.
  void Burst() {
    const int handler = Pick(0, kHandlers - 1);
    const auto& behaviors = BehaviorsOf(handler);
    const int commands = OneIn(3) ? Pick(1, 40) : Pick(1, 5);
    const int spread = OneIn(2) ? 0 : 100;
    for (int i = 0; i < commands && now_ < end_; ++i) {
      Step& step = Add(Action::kSend);
      step.handler = handler;
      step.type = OneIn(5) ? SharedTypeOf(handler)
                           : TypeOf(handler, behaviors[PickBehavior(behaviors.size())]);
      step.duration = Milliseconds(OneIn(4) ? Pick(0, 1'500) : Pick(0, 60));
      step.bytes = OneIn(200) ? Pick(1, 200'000) : OneIn(8) ? Pick(1, 6'000) : Pick(1, 40);
      now_ += Milliseconds(Pick(0, spread));
    }
  }

  // Prefers the first behaviors, which answer.
  std::size_t PickBehavior(std::size_t behaviors) {
    const int last = static_cast<int>(behaviors) - 1;
    return static_cast<std::size_t>(OneIn(3) ? Pick(0, last) : Pick(0, last / 4));
  }

  std::mt19937_64 random_;
  const Milliseconds end_;
  Milliseconds now_{0};
  std::vector<Step> steps_;
};

}  // namespace

std::vector<Step> MakeSchedule(std::uint64_t seed, std::chrono::seconds length) {
  return ScheduleGenerator(seed, length).Make();
}

}  // namespace chaos
