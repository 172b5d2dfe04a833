// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "figures/figures.h"
#include "peers/library-peer.h"
#include "platform/linux/common/process-identity.h"
#include "platform/linux/common/process-list.h"
#include "support/child-process.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"
#include "support/turns.h"
#include "support/worker.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 10;
constexpr std::size_t kCommands = 3000;
constexpr std::size_t kPayload = 64;
constexpr std::size_t kHandlers = 2;
constexpr double kMicrosecondsToEnd = 20e6;
// Less than a connection lets wait.
constexpr std::size_t kUnread = 200;
constexpr std::size_t kUnreadBytes = std::size_t{64} * 1024;

// What the attacker computes is not to be what others wait for.
void LeaveThisCore() {
  cpu_set_t ours;
  cpu_set_t others;
  CPU_ZERO(&others);
  sched_getaffinity(0, sizeof ours, &ours);
  for (int core = 0; core < static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)); ++core) {
    if (!CPU_ISSET(core, &ours)) CPU_SET(core, &others);
  }
  // Refused where there is only one.
  sched_setaffinity(0, sizeof others, &others);
}

// An attacking process of the hostile application, which takes its orders a line each.
class Attacker {
 public:
  explicit Attacker(const std::string& root) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
      throw std::runtime_error("no socket pair");
    }
    lines_ = ends[0];
    const std::string program = root + "/packages/org.example.bench.1/1/bin/echo-handler";
    process_ = std::make_unique<ChildProcess>([&] {
      LeaveThisCore();
      dup2(ends[1], STDIN_FILENO);
      dup2(ends[1], STDOUT_FILENO);
      execl(program.c_str(), program.c_str(), nullptr);
    });
    close(ends[1]);
  }
  ~Attacker() { close(lines_); }

  void Tell(const std::string& order) {
    const std::string line = order + "\n";
    send(lines_, line.data(), line.size(), MSG_NOSIGNAL);
  }
  // Whether it told that it is done.
  bool HasAnswered() const {
    pollfd ready = {lines_, POLLIN, 0};
    return poll(&ready, 1, 0) != 0;
  }
  // Runs the main loop until it is carried out.
  void Do(const std::string& order) {
    Tell(order);
    while (!HasAnswered()) ecore_main_loop_iterate();
    char answer[256];
    recv(lines_, answer, sizeof answer, 0);
  }

 private:
  int lines_ = -1;
  std::unique_ptr<ChildProcess> process_;
};

// What is done to the agent, once its handler is connected and has asked for its commands.
struct Attack {
  const char* name;
  std::string order;     // none for none; "AGENT" stands for the agent's id
  bool ends = false;     // by itself
  bool is_sent = false;  // commands, as many as may wait
};

const std::vector<Attack>& Attacks() {
  static const std::vector<Attack> attacks = {
      {"nothing", ""},
      {"the shortest calls without end", "flood-on"},
      {"calls a byte at a time", "drip-on"},
      {"calls of 1 MiB without end", "ask-on 1048576"},
      {"calls of 4 MB without end", "ask-on 4000000"},
      {"connections without end", "connect-on AGENT"},
      {"1,000 connections that say nothing", "open AGENT 1000", true},
      {"commands that it never reads", "", true, true},
      {"commands that it reads a byte at a time", "bite-on", false, true},
      {"commands that come while it is stopped", "stop", false, true},
  };
  return attacks;
}

std::string Addressed(std::string order) {
  const std::string agent = "AGENT";
  const std::size_t at = order.find(agent);
  if (at != std::string::npos) {
    order.replace(at, agent.size(), platform::IdentifyThisProcess().app_id);
  }
  return order;
}

// Microseconds of a command to the honest handler meanwhile, on average because attacks come in
// bursts, and milliseconds of the longest turn.
Numbers UnderAttack(const std::string& root, const Attack& attack) {
  LibraryPeer peer(root);
  Turns turns;
  Attacker attacker(root);
  const std::string agent = platform::IdentifyThisProcess().app_id;
  attacker.Do("greet " + agent);
  attacker.Do("join " + agent);
  attacker.Do("fetch");
  turns.Begin();
  const bool lasts = !attack.order.empty() && !attack.ends;
  if (!attack.order.empty()) attacker.Tell(Addressed(attack.order));
  if (attack.is_sent) peer.LeavePending(kUnread, kUnreadBytes, 1);
  // It is under way when this is over.
  peer.Measure({kCommands, kPayload});
  Stopwatch watch;
  peer.Measure({kCommands, kPayload});
  const double each = watch.Lap() / static_cast<double>(kCommands);
  if (lasts && attacker.HasAnswered()) throw std::runtime_error("the attack came to its end");
  return {each, turns.Longest()};
}

// Handlers end with their agent, but not at once: one that is dying would take the next agent's
// launch request with it.
void AwaitTheEndOfHandlers(const std::string& root) {
  const auto is_of_root = [&](const platform::Executable& executable) {
    return executable.path.compare(0, root.size(), root) == 0;
  };
  double waited = 0;
  for (Stopwatch watch; !platform::FindProcesses(is_of_root).empty(); waited += watch.Lap()) {
    if (waited > kMicrosecondsToEnd) throw std::runtime_error("a handler does not end");
    std::this_thread::yield();
  }
}

}  // namespace

void MeasureHostile(Report& report) {
  const TemporaryFolder root;
  FillRoot(root.Path(), kHandlers, kHandlers);
  const std::string program = root.Path() + "/packages/org.example.bench.1/1/bin/echo-handler";
  std::filesystem::remove(program);
  std::filesystem::copy_file(FolderOfBench() + "/hostile-handler", program);
  std::vector<Samples> times(Attacks().size());
  std::vector<Samples> turns(Attacks().size());
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < Attacks().size(); ++i) {
      const Numbers numbers =
          AskOnce([&]() -> Numbers { return UnderAttack(root.Path(), Attacks()[i]); });
      AwaitTheEndOfHandlers(root.Path());
      times[i].push_back(numbers[0]);
      turns[i].push_back(numbers[1]);
    }
  }
  report.BeginGroup("a hostile handler beside an honest one");
  for (std::size_t i = 1; i < Attacks().size(); ++i) {
    const std::string name = Attacks()[i].name;
    report.Add(Ratio(name + ": a command to the honest one", times[i], times[0], "us", AtMost(2)));
    report.Add(
        {name + ": longest turn of the main loop", "ms", SpreadOf(turns[i]), AtMost(10), ""});
  }
  MeasureHostilePackages(report);
}

}  // namespace bench
