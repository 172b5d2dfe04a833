// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_DURABLE_AGENT_PROCESS_H_
#define TESTS_CHAOS_DURABLE_AGENT_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "run-folder.h"

namespace chaos {

// The process of the agent with durable commands. When it was killed, another one is started with
// the same journal.
class DurableAgentProcess {
 public:
  // The arguments must outlive this object.
  DurableAgentProcess(const Programs& programs, const RunFolder& folder)
      : programs_(programs), folder_(folder) {}
  DurableAgentProcess(const DurableAgentProcess&) = delete;
  DurableAgentProcess& operator=(const DurableAgentProcess&) = delete;
  ~DurableAgentProcess();

  void Start();
  // Returns false when its input is full.
  bool Write(const std::string& line);
  void Signal(int signal);
  // Closes the input: the process exits when every command has ended.
  void Drain();
  bool IsRunning() const { return pid_ != 0; }
  // Returns false for the exit of another process. Starts the next one unless it was drained.
  bool OnExited(pid_t pid, int status);

  int Starts() const { return starts_; }
  const std::vector<std::string>& Violations() const { return violations_; }

 private:
  void CloseInput();

  const Programs& programs_;
  const RunFolder& folder_;
  pid_t pid_ = 0;
  int input_ = -1;
  bool is_draining_ = false;
  int starts_ = 0;
  std::vector<std::string> violations_;
};

}  // namespace chaos

#endif
