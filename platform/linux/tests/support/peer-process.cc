// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/peer-process.h"

#include <Ecore.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// Missing in the header of glibc 2.36.
extern "C" {
#include <sys/pidfd.h>
}

#include "platform/linux/tests/support/loop.h"

namespace platform::test {

PeerProcess::PeerProcess(const std::string& executable) {
  int commands[2];
  int lines[2];
  EXPECT_EQ(pipe2(commands, O_CLOEXEC), 0);
  EXPECT_EQ(pipe2(lines, O_CLOEXEC), 0);
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(commands[0], STDIN_FILENO);
    dup2(lines[1], STDOUT_FILENO);
    execl(executable.c_str(), executable.c_str(), nullptr);
    _exit(127);
  }
  close(commands[0]);
  close(lines[1]);
  commands_.Reset(commands[1]);
  lines_.Reset(lines[0]);
  fcntl(lines_.Get(), F_SETFL, O_NONBLOCK);
  process_.Reset(pidfd_open(pid_, 0));
}

PeerProcess::~PeerProcess() { Kill(); }

void PeerProcess::Send(const std::string& command) {
  const std::string line = command + "\n";
  EXPECT_EQ(write(commands_.Get(), line.data(), line.size()), static_cast<ssize_t>(line.size()));
}

void PeerProcess::ReadSome() {
  char some[4096];
  const ssize_t count = read(lines_.Get(), some, sizeof(some));
  if (count > 0) text_.append(some, static_cast<size_t>(count));
  if (count == 0) is_at_end_ = true;
}

std::string PeerProcess::NextLine() {
  StartEcore();
  const auto read_some = [](void* self, Ecore_Fd_Handler*) {
    static_cast<PeerProcess*>(self)->ReadSome();
    return ECORE_CALLBACK_RENEW;
  };
  Ecore_Fd_Handler* handler =
      ecore_main_fd_handler_add(lines_.Get(), ECORE_FD_READ, read_some, this, nullptr, nullptr);
  EXPECT_TRUE(RunLoopUntil([&] { return is_at_end_ || text_.find('\n') != std::string::npos; }));
  ecore_main_fd_handler_del(handler);
  return TakeLine();
}

std::string PeerProcess::NextLineWithoutLoop() {
  while (!is_at_end_ && text_.find('\n') == std::string::npos) {
    pollfd ready = {lines_.Get(), POLLIN, 0};
    poll(&ready, 1, -1);
    ReadSome();
  }
  return TakeLine();
}

std::string PeerProcess::TakeLine() {
  const size_t end = text_.find('\n');
  if (end == std::string::npos) return "";
  const std::string line = text_.substr(0, end);
  text_.erase(0, end + 1);
  return line;
}

std::string PeerProcess::Ask(const std::string& command) {
  Send(command);
  return NextLine();
}

void PeerProcess::Signal(int signal) const {
  pidfd_send_signal(process_.Get(), signal, nullptr, 0);
}

void PeerProcess::Kill() {
  if (pid_ < 0) return;
  Signal(SIGKILL);
  pollfd exited = {process_.Get(), POLLIN, 0};
  poll(&exited, 1, -1);
  // The main loop may have reaped it already.
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace platform::test
