// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_AGENT_STOP_SIGNALS_H_
#define QOR_TOOLS_AGENT_STOP_SIGNALS_H_

#include <Ecore.h>

namespace tools {

// Takes note of SIGINT and SIGTERM instead of dying of them, as long as it lives. The main loop,
// which Ecore has been started for, wakes up.
class StopSignals {
 public:
  StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  ~StopSignals();

  // The first that came, or 0.
  int Caught() const { return caught_; }
  // What a shell gives for a program that dies of it.
  int ExitStatus() const { return 128 + caught_; }

 private:
  int caught_ = 0;
  Ecore_Event_Handler* handler_;
};

}  // namespace tools

#endif
