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

// Why a command waits for its handler without a timer of its own.
enum class UntimedReason {
  kGrowth,   // the list grew when a later command came
  kRemoval,  // it was last when another one ended
  kConnect,  // its handler connected and has not asked for commands
  kMoved,    // it moved forward, and its timer fired for its old place
};
const char* NameOf(UntimedReason rule);

struct Violation {
  std::string text;
  std::string uuid;  // empty when it is about no command
  std::string handler;
};

struct Tally {
  int agents = 0;
  int stops = 0;  // of the library, in an agent that goes on
  int accepted = 0;
  int refused = 0;
  int launches = 0;
  int deliveries = 0;
  int extensions = 0;
  int connections = 0;
  int answered = 0;
  int timed_out = 0;
  int dropped = 0;      // with the library, or the agent
  int late = 0;         // answers that came after the end
  int unsolicited = 0;  // answers of misbehaving handlers that nobody asked for
  std::map<UntimedReason, int> waiting;
};

// What became of the commands of one agent after another. It hears of everything that happened in
// them, in order, and holds each list of waiting commands and each of its timers to the rules: a
// command that the library took ends once, by an answer, by a timer that by the rules is there, or
// with the library or the agent. What waits at the end must wait by a rule.
class HistoryChecker {
 public:
  // Of a handler that is rude more is put up with: it answers again, and what nobody asked.
  explicit HistoryChecker(std::function<bool(const std::string& handler)> is_misbehaving);

  void OnEvent(const tools::record::Event& event);
  // The timer of this number, counted from the agent's start, has fired.
  void OnTimerFired(int timer);
  // The handler that has just connected is gone already, and the library has not taken it.
  void OnPortMissing() { connecting_.reset(); }
  void OnAgentExited();

  // Whether there is a timer that has still to fire.
  bool HasPendingTimers() const { return !clock_.Timers().empty(); }
  // Whether a handler's success ended the command.
  bool HasSucceeded(const std::string& uuid) const;
  // After the last timer must have fired: enters what is left.
  void Finish();

  const Tally& GetTally() const { return tally_; }
  const std::vector<Violation>& Violations() const { return violations_; }

 private:
  enum class State { kSending, kRefused, kPending, kSucceeded, kFailed, kTimedOut, kDropped };
  struct CommandRecord {
    State state = State::kSending;
    std::string handler;
    std::size_t payload = 0;  // its hash
    bool is_launched = false;
    // What Breaks() said when the handler last answered.
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

  void Blame(const std::string& text, const std::string& uuid, const std::string& handler = "");
  CommandRecord* Find(const std::string& uuid);
  List& ListOf(const std::string& handler);
  // Changes a list; those who lose their timers by that wait by this rule.
  void UpdateList(const std::string& handler, UntimedReason rule,
                  const std::function<void(List&)>& change);
  void DropAll();
  // How often something came between the agent and the handler.
  int ConnectionEpoch(const std::string& handler);
  // The command that a timer of this place ends, and its handler.
  std::optional<ExpiringCommand> CommandExpiredBy(model::Clock::Timer timer);

  void Accept(const std::string& uuid);
  // Enters the last connection.
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
  // Has connected; whether the library took it, the next entry tells.
  std::optional<std::string> connecting_;
  std::string sending_;
  // The timer of this command has fired, and the timeout is to come next.
  std::optional<ExpiringCommand> expiring_;
  Tally tally_;
  std::vector<Violation> violations_;
};

}  // namespace chaos

#endif
