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

#include "history-checker.h"
#include "history.h"
#include "resizable-tmpfs.h"
#include "run-folder.h"
#include "schedule.h"

namespace chaos {

// What was done beside sending.
struct ActionCounts {
  int handlers_killed = 0;
  int handlers_paused = 0;
  int agents_killed = 0;
  int agents_terminated = 0;
  int agents_paused = 0;
  int installs = 0;
  int uninstalls = 0;
  int installs_interrupted = 0;
  int operations_failed = 0;  // for want of room, or broken
  int disks_filled = 0;
  int not_sent = 0;  // commands that the agent was too busy to read
};

// Owns the processes of a run: starts the agent, hands it its lines, does to it, to its handlers
// and their packages what is planned, and enters what the journal says. Everything waits for
// signals of children, so none of its functions runs while another does.
class Supervisor {
 public:
  // All outlive it. The signals that it waits for are blocked from here on.
  Supervisor(const Programs& programs, const RunFolder& places, ResizableTmpfs& disk,
             HistoryChecker& checker);
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;
  // Kills what is left.
  ~Supervisor();

  void InstallAll();
  void StartAgent(int execution_timeout, int connection_timeout);
  void RunSchedule(const std::vector<Step>& schedule, const std::string& uuid_prefix);
  // Lets everything run freely until no package operation and no timer is left.
  void AwaitQuiescence();
  // With a new agent and patient timeouts: each handler answers one command.
  void CheckEveryHandler();
  // Asks the agent to end, and waits.
  void TerminateAgent();
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
  const ActionCounts& Counts() const { return counts_; }
  const HistoryReader& History() const { return reader_; }
  const std::vector<std::string>& Violations() const { return violations_; }

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
  pid_t StartOperation(const std::string& word, const std::string& argument, bool may_fail);
  void Fill(int milliseconds);
  void CloseInput();

  // One turn: what is due, what ended, what the journal says; waits for at most this long.
  void RunIteration(Clock::time_point until);
  void Reap();
  void OnAgentExited(int status);
  void Schedule(int milliseconds, std::function<void()> action);
  void Report();

  const Programs& programs_;
  const RunFolder& folder_;
  ResizableTmpfs& disk_;
  HistoryChecker& checker_;
  const HistoryWriter writer_;
  HistoryReader reader_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point next_report_;
  Tally reported_;

  pid_t agent_ = 0;
  int agent_input_ = -1;
  bool agent_may_exit_ = false;
  bool agent_is_wanted_ = false;
  int unexpected_exits_ = 0;
  std::vector<std::string> agent_timeouts_;
  std::map<pid_t, Operation> operations_;
  bool is_disk_full_ = false;
  bool has_children_ = true;
  std::multimap<Clock::time_point, std::function<void()>> scheduled_;
  ActionCounts counts_;
  std::vector<std::string> violations_;
};

}  // namespace chaos

#endif
