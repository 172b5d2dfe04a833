// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Chaos: an agent, handlers and packages in real processes, to which at random everything happens
// that may happen to them, and in the end an account of what became of every command.
//
//   qor_chaos [--minutes N] [--seed S]

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

#include "handlers.h"
#include "leak-check.h"
#include "supervisor.h"
#include "timeouts.h"

namespace {

using namespace chaos;

const Programs kPrograms = {CHAOS_AGENT, CHAOS_HANDLER, CHAOS_MISBEHAVING_HANDLER, CHAOS_TOOL,
                            CHAOS_RECORDER};

// An agent grows by what its heap spreads out to, and by the commands that wait without end.
constexpr long kMaxHeapSpreadKilobytes = 4096;
constexpr double kMaxGrowth = 1.1;

bool IsMisbehavingApplication(const std::string& application) {
  const auto handler = HandlerOf(application);
  return handler && IsMisbehaving(*handler);
}

class Run {
 public:
  Run(double minutes, std::uint64_t seed)
      : seconds_(static_cast<int>(minutes * 60)),
        seed_(seed),
        disk_(folder_.Root()),
        checker_(IsMisbehavingApplication),
        supervisor_(kPrograms, folder_, disk_, checker_) {}

  // Whether all is well.
  bool Execute() {
    std::printf("seed %llu, %d s, %d handlers\n", static_cast<unsigned long long>(seed_), seconds_,
                kHandlers);
    if (!disk_.IsMounted())
      std::puts("full disks are left out: no file system can be mounted here");
    folder_.WritePackages(kPrograms);
    supervisor_.InstallAll();
    supervisor_.StartAgent(kExecutionTimeoutMs, kConnectionTimeoutMs);
    RunSchedule();
    supervisor_.AwaitQuiescence();
    checker_.Finish();
    PrintTally();
    CheckMemory();
    if (const int zombies = supervisor_.Zombies()) {
      Blame(std::to_string(zombies) + " zombies of the agent");
    }
    supervisor_.TerminateAgent();
    supervisor_.CheckEveryHandler();
    supervisor_.TerminateAgent();
    supervisor_.UninstallAll();
    CheckLeftovers();
    return Verdict();
  }

 private:
  void RunSchedule() {
    const std::string prefix = std::to_string(seed_);
    std::vector<Step> schedule = MakeSchedule(seed_, seconds_);
    // The last agent has seen every handler by then.
    const std::int64_t warm = std::int64_t{seconds_} * 1000 * 3 / 4;
    const auto later = std::find_if(schedule.begin(), schedule.end(), [warm](const Step& step) {
      return step.at_milliseconds >= warm;
    });
    std::vector<Step> rest(later, schedule.end());
    for (Step& step : rest) step.at_milliseconds -= warm;
    schedule.erase(later, schedule.end());
    supervisor_.RunSchedule(schedule, prefix + "-a");
    warm_kilobytes_ = supervisor_.AgentKilobytes();
    supervisor_.RunSchedule(rest, prefix + "-b");
  }

  void PrintTally() const {
    const Tally& tally = checker_.GetTally();
    const ActionCounts& counts = supervisor_.Counts();
    std::printf(
        "commands: %d accepted, %d refused, %d not handed over; %d answered, %d timed out, %d "
        "dropped with library or agent; %d answered later, %d answers unsolicited\n",
        tally.accepted, tally.refused, counts.not_sent, tally.answered, tally.timed_out,
        tally.dropped, tally.late, tally.unsolicited);
    std::printf("road: %d launches, %d connections, %d deliveries, %d requests for time\n",
                tally.launches, tally.connections, tally.deliveries, tally.extensions);
    std::printf(
        "handlers: %d killed, %d stopped; agent: %d processes, %d killed, %d ended, %d stopped; "
        "library: %d shut down\n",
        counts.handlers_killed, counts.handlers_paused, tally.agents, counts.agents_killed,
        counts.agents_terminated, counts.agents_paused, tally.stops);
    std::printf(
        "packages: %d installs, %d uninstalls, %d installs broken, %d operations failed; disk: %d "
        "times full\n",
        counts.installs, counts.uninstalls, counts.installs_interrupted, counts.operations_failed,
        counts.disks_filled);
    for (const auto& [rule, count] : tally.waiting) {
      std::printf("waiting without a timer, by the rule \"%s\": %d\n", NameOf(rule), count);
    }
  }

  void CheckMemory() {
    const long kilobytes = supervisor_.AgentKilobytes();
    std::printf("memory of the last agent: %ld kB warm, %ld kB in the end\n", warm_kilobytes_,
                kilobytes);
    const auto allowed = static_cast<long>(static_cast<double>(warm_kilobytes_) * kMaxGrowth) +
                         kMaxHeapSpreadKilobytes;
    // A sanitizer keeps what is freed; it looks for leaks itself.
    if (!CHAOS_SANITIZED && kilobytes > allowed) Blame("the agent's memory grows");
  }

  void CheckLeftovers() {
    constexpr int kExitTimeoutSeconds = 120;
    if (!supervisor_.Await([this] { return !supervisor_.HasChildren(); }, kExitTimeoutSeconds)) {
      Blame("processes are left");
    }
    for (const std::string& leak : FindLeaks(folder_.Root())) Blame("left: " + leak);
    const std::string findings = std::filesystem::path(folder_.ReportPrefix()).filename();
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Folder())) {
      if (entry.path().filename().string().rfind(findings, 0) != 0) continue;
      std::cout << std::ifstream(entry.path()).rdbuf();
      Blame("a process has crashed, or a sanitizer has found something");
    }
    if (supervisor_.History().BadLines() > supervisor_.Counts().agents_killed) {
      Blame("lines of the history cannot be read");
    }
  }

  bool Verdict() {
    for (const std::string& fault : supervisor_.Violations()) Blame(fault);
    constexpr int kMaxHistories = 10;
    int histories = 0;
    for (const Violation& fault : checker_.Violations()) {
      Blame(fault.text + ": " + fault.uuid + " " + fault.handler);
      if (fault.uuid.empty() || ++histories > kMaxHistories) continue;
      std::cout << HistoryOfCommand(folder_.History(), fault.uuid, fault.handler);
    }
    std::cout.flush();
    if (violations_ == 0) {
      std::printf("every command of %d is accounted for\n", checker_.GetTally().accepted);
      return true;
    }
    folder_.Keep();
    std::printf("%d faults; seed %llu; the history is %s\n", violations_,
                static_cast<unsigned long long>(seed_), folder_.History().c_str());
    return false;
  }

  void Blame(const std::string& text) {
    ++violations_;
    std::cout << "FAULT: " << text << std::endl;
  }

  const int seconds_;
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
    CLI::App app("Lets everything happen at random, and accounts for every command.");
    app.add_option("--minutes", minutes, "How long")->check(CLI::Range(0.1, 10'000.0));
    app.add_option("--seed", seed, "What decides the schedule; random without");
    CLI11_PARSE(app, argc, argv);
    return Run(minutes, seed).Execute() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
    return 1;
  }
}
