// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_SUPERVISOR_H_
#define TESTS_CHAOS_SUPERVISOR_H_

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "account.h"
#include "journal.h"
#include "places.h"
#include "plan.h"
#include "small-disk.h"

namespace chaos {

// What was done beside sending.
struct Deeds {
  int handlers_killed = 0;
  int handlers_stopped = 0;
  int agents_killed = 0;
  int agents_ended = 0;
  int agents_stopped = 0;
  int installs = 0;
  int uninstalls = 0;
  int installs_broken = 0;
  int operations_failed = 0;  // for want of room, or broken
  int disks_filled = 0;
  int not_handed_over = 0;  // commands that the agent was too busy to read
};

// Owns the processes of a run: starts the agent, hands it its lines, does to it, to its handlers
// and their packages what is planned, and enters what the journal says. Everything waits for
// signals of children, so none of its functions runs while another does.
class Supervisor {
 public:
  // All outlive it. The signals that it waits for are blocked from here on.
  Supervisor(const Programs& programs, const Places& places, SmallDisk& disk, Account& account);
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;
  // Kills what is left.
  ~Supervisor();

  void InstallAll();
  void StartAgent(int execution_timeout, int connection_timeout);
  void Follow(const std::vector<Step>& plan, const std::string& uuid_prefix);
  // Lets everything run freely until no package operation and no timer is left.
  void Settle();
  // With a new agent and patient timeouts: each handler answers one command.
  void TryEveryHandler();
  // Asks the agent to end, and waits.
  void EndAgent();
  void UninstallAll();

  // Serves whatever comes until the condition holds; false when it does not in time. Like all that
  // waits it throws std::runtime_error when this process is asked to end, and when agents do
  // nothing but end.
  bool Await(const std::function<bool()>& condition, int seconds);

  long AgentKilobytes() const;
  // Those of the agent.
  int Zombies() const;
  // Whether a process is left that came from here.
  bool HasChildren() const { return has_children_; }
  const Deeds& Done() const { return deeds_; }
  const JournalReader& Journal() const { return reader_; }
  const std::vector<std::string>& Faults() const { return faults_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Operation {
    std::string words;
    bool may_fail;
  };

  void Do(const Step& step, const std::string& uuid);
  void Send(const Step& step, const std::string& uuid);
  void Signal(int handler, int signal);
  void Stop(const std::function<void(int signal)>& signal, int milliseconds);
  void WriteToAgent(const std::string& line);
  pid_t Operate(const std::string& word, const std::string& argument, bool may_fail);
  void Fill(int milliseconds);
  void CloseInput();

  // One turn: what is due, what ended, what the journal says; waits for at most this long.
  void Serve(Clock::time_point until);
  void Reap();
  void AgentEnded(int status);
  void Later(int milliseconds, std::function<void()> action);
  void Report();

  const Programs& programs_;
  const Places& places_;
  SmallDisk& disk_;
  Account& account_;
  const JournalWriter writer_;
  JournalReader reader_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point next_report_;
  Totals reported_;

  pid_t agent_ = 0;
  int agent_input_ = -1;
  bool agent_may_end_ = false;
  bool agent_is_wanted_ = false;
  int unasked_ends_ = 0;
  std::vector<std::string> agent_timeouts_;
  std::map<pid_t, Operation> operations_;
  bool is_full_ = false;
  bool has_children_ = true;
  std::multimap<Clock::time_point, std::function<void()>> later_;
  Deeds deeds_;
  std::vector<std::string> faults_;
};

}  // namespace chaos

#endif
