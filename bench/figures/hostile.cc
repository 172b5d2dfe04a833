// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "figures/figures.h"
#include "peers/library-peer.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/process-identity.h"
#include "support/child-process.h"
#include "support/iteration-meter.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"
#include "support/worker.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 10;
constexpr std::size_t kCommands = 3000;
constexpr std::size_t kPayload = 64;
constexpr std::size_t kHandlers = 2;
constexpr std::chrono::seconds kExitTimeout{20};
// Together less than the limit of queued bytes of a connection.
constexpr std::size_t kUnread = 200;
constexpr std::size_t kUnreadBytes = std::size_t{64} * 1024;

// The attacker must not slow others down merely by computing on their core.
void MoveToOtherCores() {
  cpu_set_t ours;
  cpu_set_t others;
  CPU_ZERO(&others);
  sched_getaffinity(0, sizeof ours, &ours);
  for (int core = 0; core < static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)); ++core) {
    if (!CPU_ISSET(core, &ours)) CPU_SET(core, &others);
  }
  // Fails on a single-core machine, which is acceptable.
  sched_setaffinity(0, sizeof others, &others);
}

// An attacking process of the hostile application. Takes one command per line and replies to each
// that ends.
class Attacker {
 public:
  explicit Attacker(const std::string& root) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
      throw std::runtime_error("socketpair failed");
    }
    socket_ = ends[0];
    const std::string program = root + "/packages/org.example.bench.1/1/bin/echo-handler";
    process_ = std::make_unique<ChildProcess>([&] {
      MoveToOtherCores();
      dup2(ends[1], STDIN_FILENO);
      dup2(ends[1], STDOUT_FILENO);
      execl(program.c_str(), program.c_str(), nullptr);
    });
    close(ends[1]);
  }
  ~Attacker() { close(socket_); }

  void Send(const std::string& command) {
    const std::string line = command + "\n";
    send(socket_, line.data(), line.size(), MSG_NOSIGNAL);
  }
  // Returns whether the last command has ended.
  bool HasReplied() const {
    pollfd ready = {socket_, POLLIN, 0};
    return poll(&ready, 1, 0) != 0;
  }
  // Sends a command and runs the main loop until it has ended.
  void Execute(const std::string& command) {
    Send(command);
    while (!HasReplied()) ecore_main_loop_iterate();
    char answer[256];
    recv(socket_, answer, sizeof answer, 0);
  }

 private:
  int socket_ = -1;
  std::unique_ptr<ChildProcess> process_;
};

// Applied to the agent once the attacker's handler is connected and has fetched its commands.
struct Attack {
  const char* name;
  std::string command;  // empty for none; "AGENT" is replaced by the agent's id
  bool is_finite = false;
  bool sends_commands = false;  // to the attacker, just below the limit of queued bytes
};

const std::vector<Attack>& Attacks() {
  static const std::vector<Attack> attacks = {
      {"nothing", ""},
      {"endless minimal calls", "flood-on"},
      {"calls sent a byte at a time", "drip-on"},
      {"endless calls of 1 MiB", "ask-on 1048576"},
      {"endless calls of 4 MB", "ask-on 4000000"},
      {"endless connections", "connect-on AGENT"},
      // Each causes a log line, of which the log writes the first.
      {"endless rejected handshakes", "rejected-on AGENT"},
      {"1,000 silent connections", "open AGENT 1000", true},
      {"commands never read", "", true, true},
      {"commands read a byte at a time", "read-bytes-on", false, true},
      {"commands to a stopped process", "stop", false, true},
  };
  return attacks;
}

std::string WithAgentId(std::string command) {
  const std::string agent = "AGENT";
  const std::size_t at = command.find(agent);
  if (at != std::string::npos) {
    command.replace(at, agent.size(), platform::IdentifyThisProcess().app_id);
  }
  return command;
}

// Returns the microseconds per command to the honest handler during the attack, averaged because
// attacks come in bursts, and the milliseconds of the longest iteration of the main loop.
Numbers MeasureUnderAttack(const std::string& root, const Attack& attack) {
  // Attacks cause log lines, which cost the agent time but do not belong on the terminal.
  setenv("DLOG_FILE", (root + "/log").c_str(), 1);
  LibraryPeer peer(root);
  IterationMeter iterations;
  Attacker attacker(root);
  const std::string agent = platform::IdentifyThisProcess().app_id;
  attacker.Execute("handshake " + agent);
  attacker.Execute("join " + agent);
  attacker.Execute("fetch");
  iterations.Start();
  const bool is_endless = !attack.command.empty() && !attack.is_finite;
  if (!attack.command.empty()) attacker.Send(WithAgentId(attack.command));
  if (attack.sends_commands) peer.LeavePending(kUnread, kUnreadBytes, 1);
  // The first round lets the attack reach its full rate.
  peer.Measure({kCommands, kPayload});
  Stopwatch watch;
  peer.Measure({kCommands, kPayload});
  const double each = watch.Lap() / static_cast<double>(kCommands);
  if (is_endless && attacker.HasReplied()) throw std::runtime_error("the attack ended early");
  return {each, iterations.MaxMs()};
}

// Handlers exit with their agent, but not at once: a dying one would still accept, and lose, the
// next agent's launch request.
void AwaitHandlerExit(const std::string& root) {
  const auto is_of_root = [&](const platform::Executable& executable) {
    return executable.path.compare(0, root.size(), root) == 0;
  };
  const auto deadline = std::chrono::steady_clock::now() + kExitTimeout;
  while (!platform::FindProcesses(is_of_root).empty()) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("a handler does not exit");
    }
    std::this_thread::yield();
  }
}

}  // namespace

void MeasureHostile(Report& report) {
  const TemporaryFolder root;
  FillRoot(root.Path(), kHandlers, kHandlers);
  const std::string program = root.Path() + "/packages/org.example.bench.1/1/bin/echo-handler";
  std::filesystem::remove(program);
  std::filesystem::copy_file(BenchFolder() + "/hostile-handler", program);
  std::vector<Samples> times(Attacks().size());
  std::vector<Samples> iterations(Attacks().size());
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < Attacks().size(); ++i) {
      const Numbers numbers =
          RunInProcess([&]() -> Numbers { return MeasureUnderAttack(root.Path(), Attacks()[i]); });
      AwaitHandlerExit(root.Path());
      times[i].push_back(numbers[0]);
      iterations[i].push_back(numbers[1]);
    }
  }
  report.BeginGroup("honest handler next to a hostile one");
  for (std::size_t i = 1; i < Attacks().size(); ++i) {
    const std::string name = Attacks()[i].name;
    report.Add(Ratio(name + ": time per command", times[i], times[0], "us", AtMost(2)));
    report.Add(
        {name + ": longest main-loop iteration", "ms", SpreadOf(iterations[i]), AtMost(10), ""});
  }
  MeasureHostilePackages(report);
}

}  // namespace bench
