// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_END_TO_END_LIVE_PROCESS_H_
#define QOR_TESTS_END_TO_END_LIVE_PROCESS_H_

#include <Ecore.h>

#include <string>
#include <vector>

namespace end_to_end {

// A child process with access to its standard streams. The destructor ends it. Waiting runs the
// main loop.
class LiveProcess {
 public:
  explicit LiveProcess(const std::vector<std::string>& arguments);
  LiveProcess(const LiveProcess&) = delete;
  LiveProcess& operator=(const LiveProcess&) = delete;
  ~LiveProcess();

  // Writes to its standard input.
  void Write(const std::string& text);
  void CloseInput();
  // Waits until standard output or standard error contains the text; returns false on timeout or
  // exit.
  bool AwaitOutput(const std::string& text) { return AwaitText(output_, text); }
  bool AwaitErrors(const std::string& text) { return AwaitText(errors_, text); }
  // Sends SIGINT.
  void Interrupt();
  // Sends SIGTERM.
  void Terminate();
  // Sends SIGKILL.
  void Kill();
  // Waits for the exit. Returns the exit status, or -1 if a signal ended it or on timeout.
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
