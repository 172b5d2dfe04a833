// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_ACCOUNT_H_
#define TESTS_CHAOS_ACCOUNT_H_

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
enum class Rule {
  kGrowth,   // the list grew when a later command came
  kRemoval,  // it was last when another one ended
  kConnect,  // its handler connected and has not asked for commands
  kMoved,    // it moved forward, and its timer fired for its old place
};
const char* NameOf(Rule rule);

struct Fault {
  std::string text;
  std::string uuid;  // empty when it is about no command
  std::string handler;
};

struct Totals {
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
  int dropped = 0;  // with the library, or the agent
  int late = 0;     // answers that came after the end
  int unasked = 0;  // answers of rude handlers that nobody asked for
  std::map<Rule, int> waiting;
};

// What became of the commands of one agent after another. It hears of everything that happened in
// them, in order, and holds each list of waiting commands and each of its timers to the rules: a
// command that the library took ends once, by an answer, by a timer that by the rules is there, or
// with the library or the agent. What waits at the end must wait by a rule.
class Account {
 public:
  // Of a handler that is rude more is put up with: it answers again, and what nobody asked.
  explicit Account(std::function<bool(const std::string& handler)> is_rude);

  void Enter(const tools::record::Event& event);
  // The timer of this number, counted from the agent's start, has fired.
  void EnterFired(int timer);
  // The handler that has just connected is gone already, and the library has not taken it.
  void EnterNoPort() { connecting_.reset(); }
  void EnterAgentEnded();

  // Whether there is a timer that has still to fire.
  bool HasTimers() const { return !clock_.Timers().empty(); }
  // Whether a handler's success ended the command.
  bool HasSucceeded(const std::string& uuid) const;
  // After the last timer must have fired: enters what is left.
  void Close();

  const Totals& Sums() const { return totals_; }
  const std::vector<Fault>& Faults() const { return faults_; }

 private:
  enum class State { kSending, kRefused, kPending, kSucceeded, kFailed, kTimedOut, kDropped };
  struct Life {
    State state = State::kSending;
    std::string handler;
    std::size_t payload = 0;  // its hash
    bool is_launched = false;
    // What Breaks() said when the handler last answered.
    std::optional<int> answered_at;
  };
  struct List {
    model::Pending commands;
    std::map<std::string, Rule> without_timer;
  };
  struct Expiring {
    std::string handler;
    std::string uuid;
    model::Clock::Timer timer;
  };

  void Blame(const std::string& text, const std::string& uuid, const std::string& handler = "");
  Life* Find(const std::string& uuid);
  List& ListOf(const std::string& handler);
  // Changes a list; those who lose their timers by that wait by this rule.
  void Change(const std::string& handler, Rule rule, const std::function<void(List&)>& change);
  void DropAll();
  // How often something came between the agent and the handler.
  int Breaks(const std::string& handler);
  // The command that a timer of this place ends, and its handler.
  std::optional<Expiring> OccupantOf(model::Clock::Timer timer);

  void Accept(const std::string& uuid);
  // Enters the last connection.
  void Connect();
  void Deliver(const tools::record::Event& event);
  void Answer(const tools::record::Event& event);
  void TakeAnswer(const tools::record::Event& event, Life& life);
  void TimeOut(const tools::record::Event& event);

  const std::function<bool(const std::string&)> is_rude_;
  model::Clock clock_;
  int last_block_ = 0;
  std::map<std::string, List> lists_;
  std::unordered_map<std::string, Life> lives_;
  std::map<std::string, int> breaks_;
  // Has connected; whether the library took it, the next entry tells.
  std::optional<std::string> connecting_;
  std::string sending_;
  // The timer of this command has fired, and the timeout is to come next.
  std::optional<Expiring> expiring_;
  Totals totals_;
  std::vector<Fault> faults_;
};

}  // namespace chaos

#endif
