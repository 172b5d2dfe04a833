// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that is killed at the step which the environment's RUDE_STEP names, and answers every
// command with its payload where there is none. Its process id goes into the root's FIFO `born`.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "bare-handler.h"
#include "connection.h"
#include "platform/linux/common/root-folder.h"

namespace {

using qor::internal::Connection;
using qor::internal::ReceivedCommand;

void DieAt(const std::string& step) {
  const char* last = std::getenv("RUDE_STEP");
  if (last != nullptr && step == last) kill(getpid(), SIGKILL);
}

bool is_sending_result = false;

class Rude : public Connection::Observer {
 public:
  void Connect(const std::string& agent) {
    if (connection_ != nullptr && !connection_->IsClosed()) return;
    connection_ = std::make_unique<Connection>(agent, *this);
    connection_->Connect();
    DieAt("connecting");
  }

  void OnOpened() override {
    DieAt("connected");
    connection_->FetchCommands();
    DieAt("fetched");
  }
  void OnCommand(ReceivedCommand command) override {
    DieAt("delivered");
    is_sending_result = true;
    connection_->SendResult(command.uuid, {true, command.payload});
    is_sending_result = false;
  }
  void OnClosed() override {}

 private:
  std::unique_ptr<Connection> connection_;
};

void TellBirth() {
  const int fd = open((platform::RootFolder() + "/born").c_str(), O_WRONLY | O_CLOEXEC);
  const pid_t pid = getpid();
  if (write(fd, &pid, sizeof pid) != sizeof pid) _exit(3);
  close(fd);
}

}  // namespace

// In place of the C library's: the platform sends a parcel with one call.
extern "C" __attribute__((visibility("default"))) ssize_t send(int fd, const void* bytes,
                                                               size_t size, int flags) {
  const char* last = std::getenv("RUDE_STEP");
  const bool halves = is_sending_result && last != nullptr && std::string(last) == "half-result";
  const long sent = syscall(SYS_sendto, fd, bytes, halves ? size / 2 : size, flags, nullptr, 0);
  if (is_sending_result) {
    DieAt("half-result");
    DieAt("result");
  }
  return sent;
}

int main(int argc, char** argv) {
  TellBirth();
  DieAt("start");
  Rude rude;
  return support::RunBareHandler(argc, argv, [&rude](const std::string& agent) {
    DieAt("launched");
    rude.Connect(agent);
  });
}
