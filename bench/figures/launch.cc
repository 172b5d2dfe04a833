// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "base/run-until.h"
#include "figures/figures.h"
#include "peers/peer.h"
#include "plain-agent.h"
#include "support/cpu-time.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"
#include "support/worker.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 80;
constexpr std::size_t kGiB = std::size_t{1} << 30;
constexpr std::size_t kPayload = 64;
constexpr int kCommandTimeoutMs = 20'000;
constexpr std::chrono::seconds kTimeoutSeconds{20};

// An agent with `memory` bytes of ballast. Replies with the time until the result, the time of the
// send call, and the CPU time of both processes, in microseconds.
Worker::Task Launch(const std::string& root, std::size_t memory) {
  setenv("QOR_PLATFORM_ROOT", root.c_str(), 1);
  auto agent = std::make_shared<support::PlainAgent>(kCommandTimeoutMs, kCommandTimeoutMs);
  auto ballast = std::make_shared<std::vector<char>>(memory, 'x');
  auto number = std::make_shared<std::size_t>(0);
  return [agent, ballast, number](const Numbers&) -> Numbers {
    const Texts texts(kPayload);
    const std::string uuid = Texts::Uuid((*number)++);
    bool answered = false;
    agent->SetResponseListener(
        [&answered](const support::PlainAgent::Response&) { answered = true; });
    const double cpu = CpuTimeOfProcessTree();
    Stopwatch watch;
    agent->Send(uuid, texts.request_type, texts.payload);
    const double send = watch.Lap();
    if (!tools::RunUntil([&] { return answered; }, kTimeoutSeconds)) {
      throw std::runtime_error("no response from the launched handler");
    }
    const double rest = watch.Lap();
    const double cpu_taken = CpuTimeOfProcessTree() - cpu;
    // The next command must launch the handler again.
    for (const pid_t handler : ChildrenOf(getpid())) kill(handler, SIGKILL);
    tools::RunUntil([] { return ChildrenOf(getpid()).empty(); }, kTimeoutSeconds);
    return {send + rest, send, cpu_taken};
  };
}

int ListenAt(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, 1) != 0) {
    throw std::runtime_error("cannot listen at " + path);
  }
  return listener;
}

// Spawns the handlers' executable, which connects and echoes. Replies with the time of all that and
// the CPU time of both processes, in microseconds.
Worker::Task Spawn(const std::string& root) {
  const std::string path = root + "/bare";
  const int listener = ListenAt(path);
  return [root, path, listener](const Numbers&) -> Numbers {
    std::string executable = root + "/echo-handler";
    std::string argument = path;
    char* arguments[] = {executable.data(), argument.data(), nullptr};
    char bytes[kPayload] = {};
    pid_t process = -1;
    const double cpu = CpuTimeOfProcessTree();
    Stopwatch watch;
    if (posix_spawn(&process, executable.c_str(), nullptr, nullptr, arguments, environ) != 0) {
      throw std::runtime_error("cannot start " + executable);
    }
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    send(connection, bytes, sizeof bytes, MSG_NOSIGNAL);
    const bool answered = recv(connection, bytes, sizeof bytes, MSG_WAITALL) == sizeof bytes;
    const double time = watch.Lap();
    const double cpu_taken = CpuTimeOfProcessTree() - cpu;
    close(connection);
    waitpid(process, nullptr, 0);
    if (!answered) throw std::runtime_error("no reply from " + executable);
    return {time, cpu_taken};
  };
}

Figure Difference(std::string name, const Samples& minuends, const Samples& subtrahends,
                  std::optional<Goal> goal) {
  Figure figure = Ratio(std::move(name), minuends, subtrahends, "us", goal);
  figure.unit = "us";
  figure.value = SpreadOf(Differences(minuends, subtrahends));
  return figure;
}

}  // namespace

void MeasureLaunch(Report& report) {
  const TemporaryFolder small_root, large_root;
  FillRoot(small_root.Path(), 1, 1);
  FillRoot(large_root.Path(), 1, 1);
  Worker small([&] { return Launch(small_root.Path(), 0); });
  Worker large([&] { return Launch(large_root.Path(), kGiB); });
  Worker bare([&] { return Spawn(small_root.Path()); });
  Samples commands, commands_cpu, sends, sends_of_large, spawns, spawns_cpu;
  for (std::size_t round = 0; round < kRounds; ++round) {
    const Numbers of_small = small.Call({});
    commands.push_back(of_small[0]);
    sends.push_back(of_small[1]);
    commands_cpu.push_back(of_small[2]);
    sends_of_large.push_back(large.Call({})[1]);
    const Numbers of_bare = bare.Call({});
    spawns.push_back(of_bare[0]);
    spawns_cpu.push_back(of_bare[1]);
  }
  report.BeginGroup("command to a handler that is not running");
  report.Add(Difference("time beyond spawn, connect and reply", commands, spawns, AtMost(500)));
  report.Add(Difference("CPU time beyond spawn, connect and reply", commands_cpu, spawns_cpu, {}));
  report.Add(Ratio("send call: agent of 1 GiB vs. an empty one", sends_of_large, sends, "us",
                   AtMost(1.2)));
}

}  // namespace bench
