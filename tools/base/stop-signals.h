// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_BASE_STOP_SIGNALS_H_
#define QOR_TOOLS_BASE_STOP_SIGNALS_H_

#include <Ecore.h>

namespace tools {

// While it exists, SIGINT and SIGTERM wake up the main loop and are recorded instead of ending the
// process. Ecore must be initialized.
class StopSignals {
 public:
  StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  ~StopSignals();

  // The first signal, or 0.
  int Caught() const { return caught_; }
  // The exit status that a shell reports for a process ended by the signal.
  int ExitStatus() const { return 128 + caught_; }

 private:
  int caught_ = 0;
  Ecore_Event_Handler* handler_;
};

}  // namespace tools

#endif
