// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_HISTORY_CHECKER_H_
#define TESTS_CHAOS_HISTORY_CHECKER_H_

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/clock.h"
#include "model/pending.h"
#include "record/event.h"

namespace chaos {

// Why a command may legitimately be pending without a timer of its own, and so never time out.
enum class UntimedReason {
  kGrowth,   // a later command made the pending list reallocate, which deletes timers
  kRemoval,  // it was last in the list when another command was removed
  kConnect,  // its handler has connected and has not requested commands
  kMoved,    // it moved forward in the list, and its timer fired for its old position
};
const char* NameOf(UntimedReason reason);

struct Violation {
  std::string text;
  std::string uuid;  // empty if the violation concerns no single command
  std::string handler;
};

struct Tally {
  int agents = 0;
  int stops = 0;  // shut-downs of the library in an agent that keeps running
  int accepted = 0;
  int refused = 0;
  int launches = 0;
  int deliveries = 0;
  int extensions = 0;
  int connections = 0;
  int answered = 0;
  int timed_out = 0;
  int dropped = 0;      // pending when the library or the agent stopped
  int late = 0;         // answers to commands that had ended before
  int unsolicited = 0;  // answers to commands that the handler did not receive
  std::map<UntimedReason, int> untimed;
};

// Checks the history of all agents of a run. Replays every event in order against a model of the
// pending lists and their timers. Invariant: each accepted command ends exactly once, by an answer,
// by a timer that exists in the model, or with the library or the agent. Commands that are pending
// at the end of the run must have an UntimedReason.
class HistoryChecker {
 public:
  // Misbehaving handlers may answer repeatedly, and may answer commands that they did not receive.
  explicit HistoryChecker(std::function<bool(const std::string& handler)> is_misbehaving);

  void OnEvent(const tools::record::Event& event);
  // A timer has fired. Timers are numbered from 1 since the start of the agent.
  void OnTimerFired(int timer);
  // The handler that has just connected has disconnected again, before the library registered it.
  void OnPortMissing() { connecting_.reset(); }
  void OnAgentExited();

  bool HasPendingTimers() const { return !clock_.Timers().empty(); }
  // Whether the command has ended with a successful answer.
  bool HasSucceeded(const std::string& uuid) const;
  // Adds violations for timers that have not fired and for commands that are pending without
  // reason. Called once, when all timers must have fired.
  void Finish();

  const Tally& GetTally() const { return tally_; }
  const std::vector<Violation>& Violations() const { return violations_; }

 private:
  enum class State { kSending, kRefused, kPending, kSucceeded, kFailed, kTimedOut, kDropped };
  struct CommandRecord {
    State state = State::kSending;
    std::string handler;
    std::size_t payload_hash = 0;
    bool is_launched = false;
    // ConnectionEpoch() at the handler's last answer.
    std::optional<int> answered_epoch;
  };
  struct List {
    model::Pending commands;
    std::map<std::string, UntimedReason> untimed;
  };
  struct ExpiringCommand {
    std::string handler;
    std::string uuid;
    model::Clock::Timer timer;
  };

  void AddViolation(const std::string& text, const std::string& uuid,
                    const std::string& handler = "");
  CommandRecord* Find(const std::string& uuid);
  List& ListOf(const std::string& handler);
  // Updates a list. Commands that lose their timers get the reason.
  void UpdateList(const std::string& handler, UntimedReason reason,
                  const std::function<void(List&)>& change);
  void DropAll();
  // Counts events after which a handler may resend an answer: disconnections and restarts.
  int ConnectionEpoch(const std::string& handler);
  // Returns the command that times out when the timer fires: the one at the timer's position, which
  // need not be the one that the timer was started for.
  std::optional<ExpiringCommand> CommandExpiredBy(model::Clock::Timer timer);

  void Send(const tools::record::Event& event);
  void Accept(const std::string& uuid);
  // Applies the pending connection, unless OnPortMissing() has been called.
  void Connect();
  void Deliver(const tools::record::Event& event);
  void Answer(const tools::record::Event& event);
  void ApplyAnswer(const tools::record::Event& event, CommandRecord& record);
  void TimeOut(const tools::record::Event& event);

  const std::function<bool(const std::string&)> is_misbehaving_;
  model::Clock clock_;
  int last_block_ = 0;
  std::map<std::string, List> lists_;
  std::unordered_map<std::string, CommandRecord> commands_;
  std::map<std::string, int> epochs_;
  // The handler of the last connection. Applied with the next event: OnPortMissing() may follow.
  std::optional<std::string> connecting_;
  std::string sending_;
  // The timer of this command has fired; the next event must be its timeout.
  std::optional<ExpiringCommand> expiring_;
  Tally tally_;
  std::vector<Violation> violations_;
};

}  // namespace chaos

#endif
