// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_PEER_PROCESS_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_PEER_PROCESS_H_

#include <sys/types.h>

#include <string>

#include "platform/linux/common/unix-socket.h"

namespace platform::test {

// The peer process: accepts commands and reports events, one per line.
class PeerProcess {
 public:
  explicit PeerProcess(const std::string& executable = PEER_EXECUTABLE);
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;
  ~PeerProcess();

  void Send(const std::string& command);
  // Returns the next line, running the main loop until it arrives. Empty at the end of the output.
  std::string NextLine();
  // Like NextLine(), but blocks without running the main loop.
  std::string NextLineWithoutLoop();
  // Sends a command and returns the next line.
  std::string Ask(const std::string& command);

  void Signal(int signal) const;
  // Sends SIGKILL and waits until the process has exited.
  void Kill();

 private:
  void ReadSome();
  std::string TakeLine();

  pid_t pid_ = -1;
  UniqueFd commands_;
  UniqueFd lines_;
  UniqueFd process_;
  std::string text_;
  bool is_at_end_ = false;
};

}  // namespace platform::test

#endif
