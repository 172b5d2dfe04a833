// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_END_TO_END_LIVE_PROCESS_H_
#define QOR_TESTS_END_TO_END_LIVE_PROCESS_H_

#include <Ecore.h>

#include <string>
#include <vector>

namespace end_to_end {

// A program that runs beside the test, which talks to it and may interrupt it. Ended with this
// object. Waiting runs the main loop.
class LiveProcess {
 public:
  explicit LiveProcess(const std::vector<std::string>& arguments);
  LiveProcess(const LiveProcess&) = delete;
  LiveProcess& operator=(const LiveProcess&) = delete;
  ~LiveProcess();

  // To its standard input.
  void Write(const std::string& text);
  void CloseInput();
  // Whether the output, or standard error, holds the text before the test's patience ends.
  bool AwaitOutput(const std::string& text) { return AwaitText(output_, text); }
  bool AwaitErrors(const std::string& text) { return AwaitText(errors_, text); }
  // As Ctrl-C does.
  void Interrupt();
  // As a service manager does.
  void Terminate();
  // The exit status; -1 when a signal ended it or it does not end.
  int AwaitEnd();

  const std::string& Output() const { return output_; }
  const std::string& Errors() const { return errors_; }

 private:
  bool AwaitText(const std::string& where, const std::string& text);
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
