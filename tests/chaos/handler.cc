// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler of the SDK whose request types select a behavior. The payload is a JSON string that
// begins with the execution time in milliseconds; it is also the result.

#include <Ecore.h>
#include <qor/handler.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <list>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "crash-handler.h"
#include "effects.h"
#include "handlers.h"
#include "timeouts.h"

namespace {

using qor::Command;

std::chrono::milliseconds DurationOf(const Command& command) {
  return std::chrono::milliseconds(std::atoi(command.Payload().c_str() + 1));
}

// Runs commands on a thread each. The destructor interrupts their waits and joins the threads.
class Threads {
 public:
  Threads() = default;
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;
  ~Threads() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      is_over_ = true;
    }
    over_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }

  // `work` is called with this object.
  template <typename Work>
  void Start(Work work) {
    threads_.emplace_back([this, work] { work(*this); });
  }
  // Returns early when the process exits.
  void Wait(std::chrono::milliseconds duration) {
    std::unique_lock<std::mutex> lock(mutex_);
    over_.wait_for(lock, duration, [this] { return is_over_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable over_;
  bool is_over_ = false;
  std::vector<std::thread> threads_;
};

// Answers commands by timers. Commands whose timers have not fired when the process exits are
// dropped.
class Timers {
 public:
  Timers() = default;
  Timers(const Timers&) = delete;
  Timers& operator=(const Timers&) = delete;

  void SucceedAfter(std::chrono::milliseconds duration, const Command& command) {
    pending_.push_back({this, pending_.end(), command});
    pending_.back().self = std::prev(pending_.end());
    ecore_timer_add(
        std::chrono::duration<double>(duration).count(),
        [](void* data) -> Eina_Bool {
          const Pending pending = *static_cast<Pending*>(data);
          pending.owner->pending_.erase(pending.self);
          pending.command.Succeed(pending.command.Payload());
          return ECORE_CALLBACK_CANCEL;
        },
        &pending_.back());
  }

 private:
  struct Pending {
    Timers* owner;
    std::list<Pending>::iterator self;
    Command command;
  };

  std::list<Pending> pending_;
};

void Echo(const Command& command) { command.Succeed(command.Payload()); }

// Returns the functions of all behaviors. The arguments must outlive them.
std::map<std::string, qor::Handler::Function> Behaviors(Threads* threads, Timers* timers,
                                                        std::vector<Command>* held) {
  return {
      {"echo", Echo},
      {"thread",
       [=](const Command& command) {
         threads->Start([command](Threads& self) {
           self.Wait(DurationOf(command));
           command.Succeed(command.Payload());
         });
       }},
      {"timer",
       [=](const Command& command) { timers->SucceedAfter(DurationOf(command), command); }},
      {"extend",
       [=](const Command& command) {
         threads->Start([command](Threads& self) {
           command.AskForSeconds(chaos::kExtension.count());
           self.Wait(chaos::kLongTask);
           command.Succeed(command.Payload());
         });
       }},
      {"fail", [](const Command& command) { command.Fail(command.Payload()); }},
      {"drop", [](const Command&) {}},
      {"throw", [](const Command&) { throw std::runtime_error("behavior \"throw\""); }},
      {"block",
       [=](const Command& command) {
         threads->Wait(DurationOf(command));
         command.Succeed(command.Payload());
       }},
      {"late", [=](const Command& command) { timers->SucceedAfter(chaos::kLongTask, command); }},
      {"hold", [=](const Command& command) { held->push_back(command); }},
      {"kill", [](const Command&) { kill(getpid(), SIGKILL); }},
  };
}

void RecordEffect(const Command& command) {
  chaos::AppendToAccount(std::getenv(chaos::kAccountVariable), "effect " + command.Uuid());
}

// The same for the handlers of durable commands.
std::map<std::string, qor::Handler::Function> DurableBehaviors(Timers* timers) {
  return {
      {"once",
       [=](const Command& command) {
         RecordEffect(command);
         timers->SucceedAfter(DurationOf(command), command);
       }},
      {"once-kill",
       [](const Command& command) {
         RecordEffect(command);
         kill(getpid(), SIGKILL);
       }},
      {"once-suspend",
       [](const Command& command) {
         RecordEffect(command);
         // As for a reboot.
         if (command.Suspend("state")) kill(getpid(), SIGKILL);
         command.Succeed(command.Payload());
       }},
      {"again",
       [=](const Command& command) {
         RecordEffect(command);
         timers->SucceedAfter(DurationOf(command), command);
       }},
      {"once-fail",
       [](const Command& command) {
         RecordEffect(command);
         command.Fail(command.Payload());
       }},
  };
}

void AddDurableTypes(qor::Handler& handler, int number, Timers* timers) {
  const auto functions = DurableBehaviors(timers);
  for (const std::string& behavior : chaos::BehaviorsOf(number)) {
    const std::string type = chaos::TypeOf(number, behavior);
    handler.On(type, functions.at(behavior),
               chaos::IsAtMostOnce(type) ? qor::Policy::kAtMostOnce : qor::Policy::kAtLeastOnce);
  }
  handler.OnResume(chaos::TypeOf(number, "once-suspend"), Echo);
  // A long run has more than the default within the hour for which answers are kept.
  qor::AnswerLimits limits;
  limits.count = 100'000;
  limits.bytes = std::size_t{256} << 20;
  handler.KeepAnswers(limits);
}

}  // namespace

int main(int argc, char** argv) {
  chaos::InstallCrashHandler(argv[0]);
  Threads threads;
  Timers timers;
  std::vector<Command> held;
  const auto functions = Behaviors(&threads, &timers, &held);
  const int number = chaos::HandlerOfExecutable(argv[0]);
  qor::Handler handler;
  if (chaos::IsDurable(number)) {
    AddDurableTypes(handler, number, &timers);
  } else {
    for (const std::string& behavior : chaos::BehaviorsOf(number))
      handler.On(chaos::TypeOf(number, behavior), functions.at(behavior));
  }
  handler.On(chaos::SharedTypeOf(number), Echo);
  return handler.Run(argc, argv);
}
