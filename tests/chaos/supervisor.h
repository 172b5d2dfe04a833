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

#include "durable-agent-process.h"
#include "history-checker.h"
#include "history.h"
#include "resizable-tmpfs.h"
#include "run-folder.h"
#include "schedule.h"

namespace chaos {

// How often each action was executed.
struct ActionCounts {
  int handlers_killed = 0;
  int handlers_paused = 0;
  int agents_killed = 0;
  int agents_terminated = 0;
  int agents_paused = 0;
  int installs = 0;
  int uninstalls = 0;
  int installs_interrupted = 0;
  int operations_failed = 0;  // disk full, interrupted, or package not installed
  int disks_filled = 0;
  int not_sent = 0;  // commands that found an agent's input full
  int durable_agents_killed = 0;
  int durable_agents_reopened = 0;
};

// Owns the processes of a run: starts the agent, writes its input, executes the actions of a
// schedule on the agent, the handlers and their packages, and passes the history to the checker.
// Single-threaded: functions that wait run other due actions in the meantime.
class Supervisor {
 public:
  // The arguments must outlive the supervisor. Blocks the signals that it waits for.
  Supervisor(const Programs& programs, const RunFolder& folder, ResizableTmpfs& disk,
             HistoryChecker& checker);
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;
  // Kills the remaining processes.
  ~Supervisor();

  void InstallAll();
  void StartAgent(std::chrono::milliseconds execution_timeout,
                  std::chrono::milliseconds connection_timeout);
  void RunSchedule(const std::vector<Step>& schedule, const std::string& uuid_prefix);
  // Reinstalls all packages, then waits until no package operation and no timer is pending.
  void AwaitQuiescence();
  // Starts an agent with long timeouts and checks that each handler answers a command.
  void CheckEveryHandler();
  // Closes the agent's input and waits for its exit.
  void TerminateAgent();
  // Waits until every durable command has ended and every outcome is confirmed.
  void DrainDurableAgent();
  void UninstallAll();

  // Runs until the condition holds; returns false after the timeout. Like every function that
  // waits, throws std::runtime_error on SIGINT and SIGTERM, and when agents exit again and again.
  bool Await(const std::function<bool()>& condition, std::chrono::seconds timeout);

  long AgentKilobytes() const;
  // Zombie children of the agent.
  int Zombies() const;
  // Whether this process, which adopts orphans, has children.
  bool HasChildren() const { return has_children_; }
  const ActionCounts& Counts() const { return counts_; }
  int DurableAgents() const { return durable_agent_.Starts(); }
  const HistoryReader& History() const { return reader_; }
  const std::vector<std::string>& Violations() const { return violations_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Operation {
    std::string description;
    bool may_fail;
  };

  void Execute(const Step& step, const std::string& uuid);
  // Kills or terminates the agent; OnAgentExited() starts the next one.
  void ReplaceAgent(Action action);
  void Submit(const Step& step, const std::string& uuid);
  void InterruptInstall(const Step& step);
  void Send(const Step& step, const std::string& uuid);
  void Signal(int handler, int signal);
  // Sends SIGSTOP, and SIGCONT after a delay.
  void Pause(const std::function<void(int signal)>& signal, std::chrono::milliseconds duration);
  void WriteToAgent(const std::string& line);
  pid_t StartOperation(const std::string& operation, const std::string& argument, bool may_fail);
  void Fill(std::chrono::milliseconds duration);
  void CloseInput();

  // Runs due actions, reaps children and reads the history, then waits until the next is due, at
  // most until the given time.
  void RunIteration(Clock::time_point until);
  void Reap();
  void OnAgentExited(int status);
  void Schedule(std::chrono::milliseconds delay, std::function<void()> action);
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

  DurableAgentProcess durable_agent_{programs_, folder_};
  int submitted_ = 0;
  pid_t agent_ = 0;
  int agent_input_ = -1;
  bool agent_may_exit_ = false;
  bool agent_is_wanted_ = false;
  int unexpected_exits_ = 0;
  std::chrono::milliseconds execution_timeout_{0};
  std::chrono::milliseconds connection_timeout_{0};
  std::map<pid_t, Operation> operations_;
  bool is_disk_full_ = false;
  bool has_children_ = true;
  std::multimap<Clock::time_point, std::function<void()>> scheduled_;
  ActionCounts counts_;
  std::vector<std::string> violations_;
};

}  // namespace chaos

#endif
