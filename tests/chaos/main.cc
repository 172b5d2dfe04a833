// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Chaos test: injects random violations into an agent, its handlers and their packages, all real
// processes, and checks the outcome of every command.
//
//   qor_chaos [--minutes N] [--seed S]

#include <qor_agent.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

#include "effects.h"
#include "handlers.h"
#include "leak-check.h"
#include "supervisor.h"
#include "timeouts.h"

namespace {

using namespace chaos;

const Programs kPrograms = {CHAOS_AGENT,   CHAOS_DURABLE_AGENT,
                            CHAOS_HANDLER, CHAOS_MISBEHAVING_HANDLER,
                            CHAOS_TOOL,    CHAOS_RECORDER};

// Tolerances of the check for memory leaks: heap fragmentation, and commands that are pending
// without a timer.
constexpr long kMaxFragmentationKilobytes = 4096;
constexpr double kMaxGrowth = 1.1;

bool IsMisbehavingApplication(const std::string& application) {
  const auto handler = HandlerOf(application);
  return handler && IsMisbehaving(*handler);
}

class ChaosRun {
 public:
  ChaosRun(double minutes, std::uint64_t seed)
      : length_(static_cast<int>(minutes * 60)),
        seed_(seed),
        disk_(folder_.Root()),
        checker_(IsMisbehavingApplication),
        supervisor_(kPrograms, folder_, disk_, checker_) {}

  // Returns whether there are no violations.
  bool Run() {
    std::printf("seed %llu, %d s, %d handlers\n", static_cast<unsigned long long>(seed_),
                static_cast<int>(length_.count()), kHandlers);
    if (!disk_.IsMounted()) std::puts("skipped: disk full (cannot mount a file system)");
    folder_.WritePackages(kPrograms);
    supervisor_.InstallAll();
    supervisor_.StartAgent(kExecutionTimeout, kConnectionTimeout);
    RunSchedule();
    supervisor_.AwaitQuiescence();
    supervisor_.DrainDurableAgent();
    CheckEffects();
    checker_.Finish();
    PrintTally();
    CheckMemory();
    if (const int zombies = supervisor_.Zombies()) {
      AddViolation(std::to_string(zombies) + " zombie children of the agent");
    }
    supervisor_.TerminateAgent();
    supervisor_.CheckEveryHandler();
    supervisor_.TerminateAgent();
    supervisor_.UninstallAll();
    CheckLeaks();
    return PrintVerdict();
  }

 private:
  void RunSchedule() {
    const std::string prefix = std::to_string(seed_);
    std::vector<Step> schedule = MakeSchedule(seed_, length_);
    // Memory is measured from here on: by then the last agent has served every handler.
    const std::chrono::milliseconds warm = length_ * 3 / 4;
    const auto later = std::find_if(schedule.begin(), schedule.end(),
                                    [warm](const Step& step) { return step.at >= warm; });
    std::vector<Step> rest(later, schedule.end());
    for (Step& step : rest) step.at -= warm;
    schedule.erase(later, schedule.end());
    supervisor_.RunSchedule(schedule, prefix + "-a");
    warm_kilobytes_ = supervisor_.AgentKilobytes();
    supervisor_.RunSchedule(rest, prefix + "-b");
  }

  void PrintTally() const {
    const Tally& tally = checker_.GetTally();
    const ActionCounts& counts = supervisor_.Counts();
    std::printf(
        "commands: %d accepted, %d refused, %d not sent; %d answered, %d timed out, %d dropped by "
        "restarts; %d late answers, %d unsolicited answers\n",
        tally.accepted, tally.refused, counts.not_sent, tally.answered, tally.timed_out,
        tally.dropped, tally.late, tally.unsolicited);
    std::printf("delivery: %d launches, %d connections, %d deliveries, %d extension requests\n",
                tally.launches, tally.connections, tally.deliveries, tally.extensions);
    std::printf(
        "handlers: %d killed, %d paused; agent: %d processes, %d killed, %d terminated, %d paused; "
        "library: %d shut down\n",
        counts.handlers_killed, counts.handlers_paused, tally.agents, counts.agents_killed,
        counts.agents_terminated, counts.agents_paused, tally.stops);
    std::printf(
        "packages: %d installs, %d uninstalls, %d interrupted installs, %d failed operations; disk "
        "filled %d times\n",
        counts.installs, counts.uninstalls, counts.installs_interrupted, counts.operations_failed,
        counts.disks_filled);
    for (const auto& [reason, count] : tally.untimed) {
      std::printf("pending without a timer (%s): %d\n", NameOf(reason), count);
    }
  }

  void CheckEffects() {
    EffectChecker checker;
    std::ifstream account(folder_.Account());
    for (std::string line; std::getline(account, line);) checker.OnLine(line);
    checker.Finish();
    const EffectChecker::Tally& tally = checker.GetTally();
    const ActionCounts& counts = supervisor_.Counts();
    std::printf(
        "durable commands: %d accepted, %d submitted again, %d rejected, %d unresolved; %d "
        "succeeded, %d failed, %d not delivered, %d unknown; %d amended, %d reported again; %d "
        "effects\n",
        tally.accepted, tally.submitted_again, tally.rejected, tally.unresolved,
        tally.outcomes[QOR_AGENT_SUCCEEDED], tally.outcomes[QOR_AGENT_FAILED],
        tally.outcomes[QOR_AGENT_NOT_DELIVERED], tally.outcomes[QOR_AGENT_UNKNOWN], tally.amended,
        tally.repeated, tally.effects);
    std::printf("durable agent: %d processes, %d killed, %d reopened\n",
                supervisor_.DurableAgents(), counts.durable_agents_killed,
                counts.durable_agents_reopened);
    if (tally.outcomes[QOR_AGENT_SUCCEEDED] == 0) AddViolation("no durable command succeeded");
    for (const std::string& violation : checker.Violations()) AddViolation(violation);
  }

  void CheckMemory() {
    const long kilobytes = supervisor_.AgentKilobytes();
    std::printf("memory of the last agent: %ld kB after warm-up, %ld kB at the end\n",
                warm_kilobytes_, kilobytes);
    const auto allowed = static_cast<long>(static_cast<double>(warm_kilobytes_) * kMaxGrowth) +
                         kMaxFragmentationKilobytes;
    // Sanitizers keep freed memory and detect leaks themselves.
    if (!CHAOS_SANITIZED && kilobytes > allowed) AddViolation("memory leak in the agent");
  }

  void CheckLeaks() {
    constexpr std::chrono::seconds kExitTimeout(120);
    if (!supervisor_.Await([this] { return !supervisor_.HasChildren(); }, kExitTimeout)) {
      AddViolation("leaked processes");
    }
    for (const std::string& leak : FindLeaks(folder_.Root())) AddViolation("leaked " + leak);
    const std::string findings = std::filesystem::path(folder_.ReportPrefix()).filename();
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Folder())) {
      if (entry.path().filename().string().rfind(findings, 0) != 0) continue;
      std::cout << std::ifstream(entry.path()).rdbuf();
      AddViolation("crash or sanitizer report");
    }
    if (supervisor_.History().BadLines() > supervisor_.Counts().agents_killed) {
      AddViolation("invalid lines in the history");
    }
  }

  bool PrintVerdict() {
    for (const std::string& violation : supervisor_.Violations()) AddViolation(violation);
    constexpr int kMaxHistories = 10;
    int histories = 0;
    for (const Violation& violation : checker_.Violations()) {
      AddViolation(violation.text + ": " + violation.uuid + " " + violation.handler);
      if (violation.uuid.empty() || ++histories > kMaxHistories) continue;
      std::cout << HistoryOfCommand(folder_.History(), violation.uuid, violation.handler);
    }
    std::cout.flush();
    if (violations_ == 0) {
      std::printf("no violations in %d commands\n", checker_.GetTally().accepted);
      return true;
    }
    folder_.Keep();
    std::printf("%d violations; seed %llu; history: %s\n", violations_,
                static_cast<unsigned long long>(seed_), folder_.History().c_str());
    return false;
  }

  void AddViolation(const std::string& text) {
    ++violations_;
    std::cout << "VIOLATION: " << text << std::endl;
  }

  const std::chrono::seconds length_;
  const std::uint64_t seed_;
  RunFolder folder_;
  ResizableTmpfs disk_;
  HistoryChecker checker_;
  Supervisor supervisor_;
  long warm_kilobytes_ = 0;
  int violations_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  try {
    double minutes = 1;
    std::uint64_t seed = std::random_device()();
    CLI::App app("Injects random violations and checks the outcome of every command.");
    app.add_option("--minutes", minutes, "Duration")->check(CLI::Range(0.1, 10'000.0));
    app.add_option("--seed", seed, "Seed of the schedule; default: random");
    CLI11_PARSE(app, argc, argv);
    return ChaosRun(minutes, seed).Run() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
    return 1;
  }
}
