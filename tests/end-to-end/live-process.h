// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_END_TO_END_LIVE_PROCESS_H_
#define QOR_TESTS_END_TO_END_LIVE_PROCESS_H_

#include <Ecore.h>

#include <string>
#include <vector>

namespace end_to_end {

// A program that the test talks to while it runs. Killed at the end when it still does.
class LiveProcess {
 public:
  // `arguments` begin with the program.
  explicit LiveProcess(const std::vector<std::string>& arguments);
  LiveProcess(const LiveProcess&) = delete;
  LiveProcess& operator=(const LiveProcess&) = delete;
  ~LiveProcess();

  void Write(const std::string& text);
  void CloseInput();
  void Signal(int signal);

  // Whether standard output, or standard error, ever holds the text.
  bool AwaitOutput(const std::string& text) { return AwaitText(output_, text); }
  bool AwaitErrors(const std::string& text) { return AwaitText(errors_, text); }
  // The exit status; -1 when it does not end by itself.
  int AwaitEnd();

  const std::string& Output() const { return output_; }
  const std::string& Errors() const { return errors_; }

 private:
  static bool AwaitText(const std::string& where, const std::string& text);
  static Eina_Bool Append(void* self, void* event, std::string LiveProcess::*text);

  Ecore_Event_Handler* handlers_[3];
  Ecore_Exe* process_;
  std::string output_;
  std::string errors_;
  bool ended_ = false;
  int exit_status_ = -1;
};

}  // namespace end_to_end

#endif
