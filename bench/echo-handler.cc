// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The handler of the benchmarks: answers commands of the types "text.echo…" with their payload and
// never answers those of the types "text.silent…". Stores no answers, because the peers that it is
// compared with store nothing either, unless QOR_BENCH_POLICY is set: to "at-least-once" or
// "at-most-once".
//
// With an argument it is the spawned process of the launch benchmark instead: it connects to that
// Unix socket and echoes one message.

#include <qor/handler.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

// Reads the package's configuration. The platform starts applications in the package's folder.
std::vector<std::string> RequestTypes() {
  const std::string item = "  - ";
  std::ifstream file("res/handler.yaml");
  std::vector<std::string> types;
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(item, 0) == 0) types.push_back(line.substr(item.size()));
  }
  return types;
}

int AnswerAt(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return 1;
  }
  char bytes[4096];
  const ssize_t size = recv(connection, bytes, sizeof bytes, 0);
  if (size <= 0 || send(connection, bytes, static_cast<std::size_t>(size), 0) != size) return 1;
  // Stay alive until the peer has read this process's CPU time and closes.
  recv(connection, bytes, sizeof bytes, 0);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // Exit with the agent that launched this handler.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (argc == 2) return AnswerAt(argv[1]);
  const char* const policy = std::getenv("QOR_BENCH_POLICY");
  qor::AnswerLimits limits;
  // The default count refuses at-most-once commands sent in such a short time.
  limits.count = policy == nullptr ? 0 : 1'000'000;
  qor::Handler handler;
  handler.KeepAnswers(limits);
  std::vector<qor::Command> unanswered;
  for (const std::string& type : RequestTypes()) {
    if (type.rfind("text.silent", 0) == 0) {
      handler.On(type,
                 [&unanswered](const qor::Command& command) { unanswered.push_back(command); });
    } else {
      handler.On(
          type, [](const qor::Command& command) { command.Succeed(command.Payload()); },
          policy != nullptr && std::string(policy) == "at-most-once" ? qor::Policy::kAtMostOnce
                                                                     : qor::Policy::kAtLeastOnce);
    }
  }
  return handler.Run(argc, argv);
}
