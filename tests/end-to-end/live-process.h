// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_END_TO_END_LIVE_PROCESS_H_
#define QOR_TESTS_END_TO_END_LIVE_PROCESS_H_

#include <Ecore.h>

#include <string>
#include <vector>

namespace end_to_end {

// A program that runs beside the test, which reads what it prints and may interrupt it. Ended with
// this object. Waiting runs the main loop.
class LiveProcess {
 public:
  explicit LiveProcess(const std::vector<std::string>& arguments);
  LiveProcess(const LiveProcess&) = delete;
  LiveProcess& operator=(const LiveProcess&) = delete;
  ~LiveProcess();

  // Whether the output holds the text before the test's patience ends.
  bool AwaitOutput(const std::string& text);
  // As Ctrl-C does.
  void Interrupt();
  // The exit status; -1 when a signal ended it or it does not end.
  int AwaitEnd();

  const std::string& Output() const { return output_; }
  const std::string& Errors() const { return errors_; }

 private:
  static Eina_Bool OnData(void* data, int type, void* event);
  static Eina_Bool OnEnd(void* data, int type, void* event);

  Ecore_Exe* process_ = nullptr;
  Ecore_Event_Handler* handlers_[3];
  bool ended_ = false;
  int exit_status_ = -1;
  std::string output_;
  std::string errors_;
};

}  // namespace end_to_end

#endif
