// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The other end of the library's round trips: answers commands of the types "text.echo…" with their
// payload and those of the types "text.silent…" never. Its peers keep nothing on file, so neither
// does it.
//
// With an argument it is the peer of a launch instead: connects to that Unix socket, and sends back
// what it reads.

#include <qor/handler.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

// From the package's folder, in which the platform starts applications.
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
  // There until the other side has looked at what it took.
  recv(connection, bytes, sizeof bytes, 0);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // Ends with the agent that launched it.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (argc == 2) return AnswerAt(argv[1]);
  qor::AnswerLimits none;
  none.count = 0;
  qor::Handler handler;
  handler.KeepAnswers(none);
  std::vector<qor::Command> unanswered;
  for (const std::string& type : RequestTypes()) {
    if (type.rfind("text.silent", 0) == 0) {
      handler.On(type,
                 [&unanswered](const qor::Command& command) { unanswered.push_back(command); });
    } else {
      handler.On(type, [](const qor::Command& command) { command.Succeed(command.Payload()); });
    }
  }
  return handler.Run(argc, argv);
}
