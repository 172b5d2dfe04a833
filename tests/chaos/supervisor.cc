// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "supervisor.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "crash-handler.h"
#include "effects.h"
#include "handlers.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/tests/support/child-process.h"
#include "process-status.h"
#include "timeouts.h"

namespace chaos {

namespace {

constexpr std::chrono::milliseconds kPollInterval(100);
constexpr std::chrono::seconds kReportInterval(10);
// Longer than any operation takes on a busy machine.
constexpr std::chrono::seconds kTimeout(120);
constexpr std::size_t kMaxOperations = 3;
// Then the agent cannot start at all.
constexpr int kMaxUnexpectedExits = 10;

// Exits of children and requests to terminate this process.
sigset_t AwaitedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGCHLD, SIGINT, SIGTERM}) sigaddset(&signals, signal);
  return signals;
}

std::string DescribeExit(int status) {
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "status " + std::to_string(WEXITSTATUS(status));
}

std::string LastLineOf(const std::string& path) {
  std::ifstream file(path);
  std::string last;
  for (std::string line; std::getline(file, line);) last = line;
  return last;
}

}  // namespace

Supervisor::Supervisor(const Programs& programs, const RunFolder& folder, ResizableTmpfs& disk,
                       HistoryChecker& checker)
    : programs_(programs),
      folder_(folder),
      disk_(disk),
      checker_(checker),
      writer_(folder.History()),
      reader_(folder.History()),
      next_report_(start_ + kReportInterval) {
  const sigset_t signals = AwaitedSignals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
  // Adopts handlers whose agent has exited.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  setenv("QOR_PLATFORM_ROOT", folder.Root().c_str(), 1);
  setenv(kAccountVariable, folder.Account().c_str(), 1);
  setenv(kCrashFileVariable, (folder.ReportPrefix() + ".crashes").c_str(), 1);
  const std::string options = "log_path=" + folder.ReportPrefix();
  // AddressSanitizer requires to be loaded first, but the recorder is preloaded.
  setenv("ASAN_OPTIONS", ("verify_asan_link_order=0:" + options).c_str(), 1);
  setenv("UBSAN_OPTIONS", ("print_stacktrace=1:" + options).c_str(), 1);
  const char* thread_options = std::getenv("TSAN_OPTIONS");
  setenv("TSAN_OPTIONS",
         (std::string(thread_options != nullptr ? thread_options : "") + " " + options).c_str(), 1);
}

Supervisor::~Supervisor() {
  CloseInput();
  if (agent_ > 0) kill(agent_, SIGKILL);
  const std::string prefix = folder_.Root() + "/";
  for (const pid_t pid : platform::FindProcesses(
           [&](const auto& executable) { return executable.path.rfind(prefix, 0) == 0; })) {
    kill(pid, SIGKILL);
  }
}

void Supervisor::InstallAll() {
  for (int handler = 0; handler < kAllHandlers; ++handler) {
    if (platform::FindPackage(PackageOf(handler))) continue;
    StartOperation("install", folder_.PackageFolder(handler, 0), false);
    if (!Await([this] { return operations_.empty(); }, kTimeout)) return;
  }
}

void Supervisor::UninstallAll() {
  for (const auto& package : platform::AllPackages()) {
    StartOperation("uninstall", package.id, false);
    if (!Await([this] { return operations_.empty(); }, kTimeout)) return;
  }
}

void Supervisor::StartAgent(std::chrono::milliseconds execution_timeout,
                            std::chrono::milliseconds connection_timeout) {
  execution_timeout_ = execution_timeout;
  connection_timeout_ = connection_timeout;
  agent_is_wanted_ = true;
  agent_may_exit_ = false;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  agent_input_ = ends[0];
  fcntl(agent_input_, F_SETFL, O_NONBLOCK);
  agent_ = platform::test::StartChildProcess(
      {programs_.agent, folder_.History(), std::to_string(execution_timeout.count()),
       std::to_string(connection_timeout.count())},
      {"LD_PRELOAD=" + programs_.recorder, "QOR_RECORD_FILE=" + folder_.History()}, folder_.Log(),
      ends[1]);
  close(ends[1]);
  writer_.Write("agent-started", std::to_string(agent_));
}

void Supervisor::RunSchedule(const std::vector<Step>& schedule, const std::string& uuid_prefix) {
  if (!durable_agent_.IsRunning()) durable_agent_.Start();
  const auto begin = Clock::now();
  int number = 0;
  for (const Step& step : schedule) {
    const auto at = begin + step.at;
    while (Clock::now() < at) RunIteration(at);
    Execute(step, uuid_prefix + "-" + std::to_string(++number));
  }
}

void Supervisor::Execute(const Step& step, const std::string& uuid) {
  switch (step.action) {
    case Action::kSend:
      Send(step, uuid);
      break;
    case Action::kKillHandler:
      ++counts_.handlers_killed;
      Signal(step.handler, SIGKILL);
      break;
    case Action::kPauseHandler:
      ++counts_.handlers_paused;
      Pause([this, handler = step.handler](int signal) { Signal(handler, signal); }, step.duration);
      break;
    case Action::kKillAgent:
    case Action::kTerminateAgent:
      ReplaceAgent(step.action);
      break;
    case Action::kPauseAgent:
      ++counts_.agents_paused;
      Pause(
          [this](int signal) {
            if (agent_ > 0) kill(agent_, signal);
          },
          step.duration);
      break;
    case Action::kRestartLibrary:
      WriteToAgent("restart\n");
      break;
    case Action::kInstall:
      ++counts_.installs;
      StartOperation("install", folder_.PackageFolder(step.handler, step.version), is_disk_full_);
      break;
    case Action::kUninstall:
      ++counts_.uninstalls;
      // The package may not be installed.
      StartOperation("uninstall", PackageOf(step.handler), true);
      break;
    case Action::kInterruptInstall:
      InterruptInstall(step);
      break;
    case Action::kFillDisk:
      Fill(step.duration);
      break;
    case Action::kSubmit:
      Submit(step, uuid);
      break;
    case Action::kKillDurableAgent:
      ++counts_.durable_agents_killed;
      durable_agent_.Signal(SIGKILL);
      break;
    case Action::kPauseDurableAgent:
      Pause([this](int signal) { durable_agent_.Signal(signal); }, step.duration);
      break;
    case Action::kReopenDurableAgent:
      ++counts_.durable_agents_reopened;
      durable_agent_.Write("reopen\n");
      break;
  }
}

void Supervisor::Submit(const Step& step, const std::string& uuid) {
  constexpr int kSubmissionsPerRedelivery = 8;
  constexpr std::chrono::seconds kRedeliveryDelay(3);
  const std::string line = "submit " + uuid + " " + step.type + " " +
                           std::to_string(step.duration.count()) + " " +
                           std::to_string(step.bytes) + "\n";
  if (!durable_agent_.Write(line)) ++counts_.not_sent;
  // As a server that has not seen the acceptance.
  if (++submitted_ % kSubmissionsPerRedelivery == 0) {
    Schedule(kRedeliveryDelay, [this, line] { durable_agent_.Write(line); });
  }
}

void Supervisor::DrainDurableAgent() {
  // The second one reports what the first has not confirmed.
  for (int i = 0; i < 2; ++i) {
    if (!durable_agent_.IsRunning()) durable_agent_.Start();
    durable_agent_.Drain();
    if (!Await([this] { return !durable_agent_.IsRunning(); }, kTimeout)) {
      violations_.emplace_back("durable commands do not end");
    }
  }
  const auto& violations = durable_agent_.Violations();
  violations_.insert(violations_.end(), violations.begin(), violations.end());
}

void Supervisor::ReplaceAgent(Action action) {
  // The previous agent may not have exited yet.
  if (agent_may_exit_ || agent_ == 0) return;
  agent_may_exit_ = true;
  if (action == Action::kKillAgent) {
    ++counts_.agents_killed;
    writer_.Write("kill agent", "");
    kill(agent_, SIGKILL);
  } else {
    ++counts_.agents_terminated;
    CloseInput();
  }
}

void Supervisor::InterruptInstall(const Step& step) {
  const std::string package = folder_.PackageFolder(step.handler, step.version);
  const pid_t pid = StartOperation("install", package, true);
  if (pid == 0) return;
  ++counts_.installs_interrupted;
  Schedule(step.duration, [this, pid] {
    if (operations_.count(pid) != 0) kill(pid, SIGKILL);
  });
}

void Supervisor::Send(const Step& step, const std::string& uuid) {
  WriteToAgent("send " + uuid + " " + step.type + " " + std::to_string(step.duration.count()) +
               " " + std::to_string(step.bytes) + "\n");
}

void Supervisor::Signal(int handler, int signal) {
  const std::string prefix = folder_.Root() + "/packages/" + PackageOf(handler) + "/";
  for (const pid_t pid : platform::FindProcesses(
           [&](const auto& executable) { return executable.path.rfind(prefix, 0) == 0; })) {
    writer_.Write("signal " + std::to_string(signal), ApplicationOf(handler));
    kill(pid, signal);
  }
}

void Supervisor::Pause(const std::function<void(int)>& signal, std::chrono::milliseconds duration) {
  signal(SIGSTOP);
  Schedule(duration, [signal] { signal(SIGCONT); });
}

void Supervisor::WriteToAgent(const std::string& line) {
  // A line is shorter than PIPE_BUF and so written completely or not at all.
  if (agent_input_ < 0 || write(agent_input_, line.data(), line.size()) < 0) {
    ++counts_.not_sent;
  }
}

pid_t Supervisor::StartOperation(const std::string& operation, const std::string& argument,
                                 bool may_fail) {
  if (operations_.size() >= kMaxOperations) return 0;
  const pid_t pid = platform::test::StartChildProcess(
      {programs_.tool, "package", operation, argument}, {}, folder_.Log(), -1);
  operations_[pid] = {operation + " " + argument, may_fail};
  writer_.Write("package " + operation, argument);
  return pid;
}

void Supervisor::Fill(std::chrono::milliseconds duration) {
  if (is_disk_full_ || !disk_.IsMounted() || !disk_.Fill()) return;
  ++counts_.disks_filled;
  is_disk_full_ = true;
  for (auto& [pid, operation] : operations_) operation.may_fail = true;
  writer_.Write("the agent's disk: full", "");
  Schedule(duration, [this] {
    if (!disk_.Free()) violations_.emplace_back("cannot restore the size of the disk");
    is_disk_full_ = false;
    writer_.Write("the agent's disk: not full", "");
  });
}

void Supervisor::CloseInput() {
  if (agent_input_ >= 0) close(agent_input_);
  agent_input_ = -1;
}

bool Supervisor::Await(const std::function<bool()>& condition, std::chrono::seconds timeout) {
  const auto end = Clock::now() + timeout;
  while (!condition()) {
    if (Clock::now() >= end) return false;
    RunIteration(end);
  }
  return true;
}

void Supervisor::AwaitQuiescence() {
  if (!Await([this] { return scheduled_.empty() && operations_.empty(); }, kTimeout)) {
    violations_.emplace_back("a package operation does not finish");
  }
  InstallAll();
  // Handlers reconnect within their backoff, which restarts the timers of their commands. The
  // period without timers must be longer.
  constexpr std::chrono::seconds kQuiet(5);
  auto quiet_since = Clock::now();
  const auto is_quiet = [&] {
    if (checker_.HasPendingTimers()) quiet_since = Clock::now();
    return Clock::now() - quiet_since > kQuiet;
  };
  Await(is_quiet, kTimeout);
}

void Supervisor::CheckEveryHandler() {
  StartAgent(kGenerousTimeout, kGenerousTimeout);
  std::vector<std::string> uuids;
  for (int handler = 0; handler < kHandlers; ++handler) {
    Step step;
    step.type = TypeOf(handler, "echo");
    uuids.push_back("last-" + std::to_string(handler));
    Send(step, uuids.back());
  }
  Await(
      [&] {
        for (const auto& uuid : uuids)
          if (!checker_.HasSucceeded(uuid)) return false;
        return true;
      },
      kTimeout);
  for (const auto& uuid : uuids)
    if (!checker_.HasSucceeded(uuid))
      violations_.push_back("not answered by a handler that is installed: " + uuid);
}

void Supervisor::TerminateAgent() {
  agent_is_wanted_ = false;
  agent_may_exit_ = true;
  CloseInput();
  if (!Await([this] { return agent_ == 0; }, kTimeout)) {
    violations_.emplace_back("the agent does not exit");
  }
}

long Supervisor::AgentKilobytes() const { return agent_ > 0 ? ResidentKilobytes(agent_) : 0; }

int Supervisor::Zombies() const { return ZombiesOf(agent_); }

void Supervisor::RunIteration(Clock::time_point until) {
  while (!scheduled_.empty() && scheduled_.begin()->first <= Clock::now()) {
    const auto action = std::move(scheduled_.begin()->second);
    scheduled_.erase(scheduled_.begin());
    action();
  }
  Reap();
  reader_.Replay(checker_);
  if (Clock::now() >= next_report_) Report();
  auto end = std::min(until, Clock::now() + kPollInterval);
  if (!scheduled_.empty()) end = std::min(end, scheduled_.begin()->first);
  const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(end - Clock::now());
  if (left.count() <= 0) return;
  const timespec time{static_cast<time_t>(left.count() / 1'000'000'000),
                      static_cast<long>(left.count() % 1'000'000'000)};
  const sigset_t signals = AwaitedSignals();
  const int signal = sigtimedwait(&signals, nullptr, &time);
  if (signal == SIGINT || signal == SIGTERM) throw std::runtime_error("interrupted");
}

void Supervisor::Reap() {
  int status = 0;
  pid_t pid = 0;
  while ((pid = waitpid(-1, &status, WNOHANG)) > 0) {
    if (pid == agent_) {
      OnAgentExited(status);
      continue;
    }
    if (durable_agent_.OnExited(pid, status)) continue;
    const auto operation = operations_.find(pid);
    if (operation == operations_.end()) continue;
    if (status != 0) {
      ++counts_.operations_failed;
      if (!operation->second.may_fail) {
        violations_.push_back(operation->second.description + " failed with " +
                              DescribeExit(status));
      }
    }
    operations_.erase(operation);
  }
  has_children_ = pid == 0;
}

void Supervisor::OnAgentExited(int status) {
  agent_ = 0;
  CloseInput();
  writer_.Write(kAgentExited, "");
  const bool is_killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  if (!agent_may_exit_ || (status != 0 && !is_killed)) {
    violations_.push_back("the agent exited with " + DescribeExit(status));
    if (++unexpected_exits_ >= kMaxUnexpectedExits) {
      throw std::runtime_error(violations_.back() +
                               " repeatedly; last line of the log: " + LastLineOf(folder_.Log()));
    }
  }
  if (agent_is_wanted_) StartAgent(execution_timeout_, connection_timeout_);
}

void Supervisor::Schedule(std::chrono::milliseconds delay, std::function<void()> action) {
  scheduled_.emplace(Clock::now() + delay, std::move(action));
}

void Supervisor::Report() {
  next_report_ += kReportInterval;
  const Tally& tally = checker_.GetTally();
  constexpr int kTooManyWithoutAnswer = 150;
  if (tally.answered == reported_.answered &&
      tally.accepted - reported_.accepted > kTooManyWithoutAnswer) {
    violations_.emplace_back("many commands accepted, none answered");
  }
  reported_ = tally;
  std::printf(
      "%5lld s  %d accepted, %d refused: %d answered, %d timed out, %d dropped; %d agents, %d "
      "handlers killed, %d package operations, %ld kB\n",
      static_cast<long long>(
          std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_).count()),
      tally.accepted, tally.refused, tally.answered, tally.timed_out, tally.dropped, tally.agents,
      counts_.handlers_killed, counts_.installs + counts_.uninstalls + counts_.installs_interrupted,
      AgentKilobytes());
  std::fflush(stdout);
}

}  // namespace chaos
