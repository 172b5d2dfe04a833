// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that kills itself at the step named by the environment variable CRASH_STEP; without the
// variable it answers each command with the payload. Writes its process id into the FIFO `started`
// of the root folder.

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

void CrashAt(const std::string& step) {
  const char* last = std::getenv("CRASH_STEP");
  if (last != nullptr && step == last) kill(getpid(), SIGKILL);
}

bool is_sending_result = false;

class CrashingHandler : public Connection::Observer {
 public:
  void Connect(const std::string& agent) {
    if (connection_ != nullptr && !connection_->IsClosed()) return;
    connection_ = std::make_unique<Connection>(agent, *this);
    connection_->Connect();
    CrashAt("connecting");
  }

  void OnOpened() override {
    CrashAt("connected");
    connection_->FetchCommands();
    CrashAt("fetched");
  }
  void OnCommand(ReceivedCommand command) override {
    CrashAt("delivered");
    is_sending_result = true;
    connection_->SendResult(command.uuid, {true, command.payload});
    is_sending_result = false;
  }
  void OnClosed() override {}

 private:
  std::unique_ptr<Connection> connection_;
};

void ReportStart() {
  const int fd = open((platform::RootFolder() + "/started").c_str(), O_WRONLY | O_CLOEXEC);
  const pid_t pid = getpid();
  if (write(fd, &pid, sizeof pid) != sizeof pid) _exit(3);
  close(fd);
}

}  // namespace

// Replaces the C library's function: the platform sends a parcel with one call.
extern "C" __attribute__((visibility("default"))) ssize_t send(int fd, const void* bytes,
                                                               size_t size, int flags) {
  const char* last = std::getenv("CRASH_STEP");
  const bool is_cut = is_sending_result && last != nullptr && std::string(last) == "half-result";
  const long sent = syscall(SYS_sendto, fd, bytes, is_cut ? size / 2 : size, flags, nullptr, 0);
  if (is_sending_result) {
    CrashAt("half-result");
    CrashAt("result");
  }
  return sent;
}

int main(int argc, char** argv) {
  ReportStart();
  CrashAt("start");
  CrashingHandler handler;
  return support::RunBareHandler(argc, argv, [&handler](const std::string& agent) {
    CrashAt("launched");
    handler.Connect(agent);
  });
}
