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
#include "leftovers.h"
#include "limits.h"
#include "supervisor.h"

namespace {

using namespace chaos;

const Programs kPrograms = {CHAOS_AGENT, CHAOS_HANDLER, CHAOS_RUDE_HANDLER, CHAOS_TOOL,
                            CHAOS_RECORDER};

// An agent grows by what its heap spreads out to, and by the commands that wait without end.
constexpr long kKilobytesAllowed = 4096;
constexpr double kGrowthAllowed = 1.1;

bool IsRudeApplication(const std::string& application) {
  const auto handler = HandlerOf(application);
  return handler && IsRude(*handler);
}

class Run {
 public:
  Run(double minutes, std::uint64_t seed)
      : seconds_(static_cast<int>(minutes * 60)),
        seed_(seed),
        disk_(places_.Root()),
        account_(IsRudeApplication),
        supervisor_(kPrograms, places_, disk_, account_) {}

  // Whether all is well.
  bool Go() {
    std::printf("seed %llu, %d s, %d handlers\n", static_cast<unsigned long long>(seed_), seconds_,
                kHandlers);
    if (!disk_.IsMounted())
      std::puts("full disks are left out: no file system can be mounted here");
    places_.WritePackages(kPrograms);
    supervisor_.InstallAll();
    supervisor_.StartAgent(kExecutionTimeoutMs, kConnectionTimeoutMs);
    Follow();
    supervisor_.Settle();
    account_.Close();
    Tell();
    CheckMemory();
    if (const int zombies = supervisor_.Zombies()) {
      Blame(std::to_string(zombies) + " zombies of the agent");
    }
    supervisor_.EndAgent();
    supervisor_.TryEveryHandler();
    supervisor_.EndAgent();
    supervisor_.UninstallAll();
    CheckLeftovers();
    return Verdict();
  }

 private:
  void Follow() {
    const std::string prefix = std::to_string(seed_);
    std::vector<Step> plan = MakePlan(seed_, seconds_);
    // The last agent has seen every handler by then.
    const std::int64_t warm = std::int64_t{seconds_} * 1000 * 3 / 4;
    const auto later = std::find_if(plan.begin(), plan.end(), [warm](const Step& step) {
      return step.at_milliseconds >= warm;
    });
    std::vector<Step> rest(later, plan.end());
    for (Step& step : rest) step.at_milliseconds -= warm;
    plan.erase(later, plan.end());
    supervisor_.Follow(plan, prefix + "-a");
    warm_kilobytes_ = supervisor_.AgentKilobytes();
    supervisor_.Follow(rest, prefix + "-b");
  }

  void Tell() const {
    const Totals& sums = account_.Sums();
    const Deeds& deeds = supervisor_.Done();
    std::printf(
        "commands: %d accepted, %d refused, %d not handed over; %d answered, %d timed out, %d "
        "dropped with library or agent; %d answered later, %d answers unasked\n",
        sums.accepted, sums.refused, deeds.not_handed_over, sums.answered, sums.timed_out,
        sums.dropped, sums.late, sums.unasked);
    std::printf("road: %d launches, %d connections, %d deliveries, %d requests for time\n",
                sums.launches, sums.connections, sums.deliveries, sums.extensions);
    std::printf(
        "handlers: %d killed, %d stopped; agent: %d processes, %d killed, %d ended, %d stopped; "
        "library: %d shut down\n",
        deeds.handlers_killed, deeds.handlers_stopped, sums.agents, deeds.agents_killed,
        deeds.agents_ended, deeds.agents_stopped, sums.stops);
    std::printf(
        "packages: %d installs, %d uninstalls, %d installs broken, %d operations failed; disk: %d "
        "times full\n",
        deeds.installs, deeds.uninstalls, deeds.installs_broken, deeds.operations_failed,
        deeds.disks_filled);
    for (const auto& [rule, count] : sums.waiting) {
      std::printf("waiting without a timer, by the rule \"%s\": %d\n", NameOf(rule), count);
    }
  }

  void CheckMemory() {
    const long kilobytes = supervisor_.AgentKilobytes();
    std::printf("memory of the last agent: %ld kB warm, %ld kB in the end\n", warm_kilobytes_,
                kilobytes);
    const auto allowed = static_cast<long>(static_cast<double>(warm_kilobytes_) * kGrowthAllowed) +
                         kKilobytesAllowed;
    // A sanitizer keeps what is freed; it looks for leaks itself.
    if (!CHAOS_SANITIZED && kilobytes > allowed) Blame("the agent's memory grows");
  }

  void CheckLeftovers() {
    constexpr int kSecondsToEnd = 120;
    if (!supervisor_.Await([this] { return !supervisor_.HasChildren(); }, kSecondsToEnd)) {
      Blame("processes are left");
    }
    for (const std::string& leftover : LeftoversBelow(places_.Root())) Blame("left: " + leftover);
    const std::string findings = std::filesystem::path(places_.Findings()).filename();
    for (const auto& entry : std::filesystem::directory_iterator(places_.Folder())) {
      if (entry.path().filename().string().rfind(findings, 0) != 0) continue;
      std::cout << std::ifstream(entry.path()).rdbuf();
      Blame("a process has crashed, or a sanitizer has found something");
    }
    if (supervisor_.Journal().BadLines() > supervisor_.Done().agents_killed) {
      Blame("lines of the journal cannot be read");
    }
  }

  bool Verdict() {
    for (const std::string& fault : supervisor_.Faults()) Blame(fault);
    constexpr int kMostHistories = 10;
    int histories = 0;
    for (const Fault& fault : account_.Faults()) {
      Blame(fault.text + ": " + fault.uuid + " " + fault.handler);
      if (fault.uuid.empty() || ++histories > kMostHistories) continue;
      std::cout << LinesThatName(places_.Journal(), fault.uuid, fault.handler);
    }
    std::cout.flush();
    if (faults_ == 0) {
      std::printf("every command of %d is accounted for\n", account_.Sums().accepted);
      return true;
    }
    places_.Keep();
    std::printf("%d faults; seed %llu; the journal is %s\n", faults_,
                static_cast<unsigned long long>(seed_), places_.Journal().c_str());
    return false;
  }

  void Blame(const std::string& text) {
    ++faults_;
    std::cout << "FAULT: " << text << std::endl;
  }

  const int seconds_;
  const std::uint64_t seed_;
  Places places_;
  SmallDisk disk_;
  Account account_;
  Supervisor supervisor_;
  long warm_kilobytes_ = 0;
  int faults_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  try {
    double minutes = 1;
    std::uint64_t seed = std::random_device()();
    CLI::App app("Lets everything happen at random, and accounts for every command.");
    app.add_option("--minutes", minutes, "How long")->check(CLI::Range(0.1, 10'000.0));
    app.add_option("--seed", seed, "What decides the plan; random without");
    CLI11_PARSE(app, argc, argv);
    return Run(minutes, seed).Go() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
    return 1;
  }
}
