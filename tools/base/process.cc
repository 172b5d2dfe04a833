// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "base/process.h"

#include <Ecore.h>

#include "base/run-until.h"

namespace tools {

namespace {

struct Run {
  Ecore_Exe* process = nullptr;
  bool ended = false;
  ProcessResult result;
};

// Receives the events of one process until destroyed.
class Listener {
 public:
  explicit Listener(Run& run)
      : handlers_{ecore_event_handler_add(ECORE_EXE_EVENT_DATA, OnOutput, &run),
                  ecore_event_handler_add(ECORE_EXE_EVENT_ERROR, OnErrors, &run),
                  ecore_event_handler_add(ECORE_EXE_EVENT_DEL, OnEnd, &run)} {}
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener() {
    for (auto* handler : handlers_) ecore_event_handler_del(handler);
  }

 private:
  static Eina_Bool Append(void* data, void* event, std::string ProcessResult::*text) {
    auto* run = static_cast<Run*>(data);
    const auto* bytes = static_cast<Ecore_Exe_Event_Data*>(event);
    if (bytes->exe != run->process) return ECORE_CALLBACK_PASS_ON;
    (run->result.*text)
        .append(static_cast<const char*>(bytes->data), static_cast<std::size_t>(bytes->size));
    return ECORE_CALLBACK_DONE;
  }
  static Eina_Bool OnOutput(void* data, int, void* event) {
    return Append(data, event, &ProcessResult::output);
  }
  static Eina_Bool OnErrors(void* data, int, void* event) {
    return Append(data, event, &ProcessResult::errors);
  }
  static Eina_Bool OnEnd(void* data, int, void* event) {
    auto* run = static_cast<Run*>(data);
    const auto* end = static_cast<Ecore_Exe_Event_Del*>(event);
    if (end->exe != run->process) return ECORE_CALLBACK_PASS_ON;
    run->ended = true;
    if (end->exited) run->result.exit_status = end->exit_code;
    return ECORE_CALLBACK_DONE;
  }

  Ecore_Event_Handler* handlers_[3];
};

}  // namespace

std::string ShellQuote(const std::string& argument) {
  std::string quoted = "'";
  for (const char c : argument) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string CommandLine(const std::vector<std::string>& arguments) {
  std::string command = "exec";
  for (const auto& argument : arguments) command += " " + ShellQuote(argument);
  return command;
}

ProcessResult RunProcess(const std::vector<std::string>& arguments,
                         std::chrono::duration<double> limit) {
  Run run;
  const Listener listener(run);
  run.process = ecore_exe_pipe_run(
      CommandLine(arguments).c_str(),
      static_cast<Ecore_Exe_Flags>(ECORE_EXE_PIPE_READ | ECORE_EXE_PIPE_ERROR), nullptr);
  if (run.process == nullptr) return run.result;
  if (!RunUntil([&run] { return run.ended; }, limit)) ecore_exe_kill(run.process);
  return run.result;
}

}  // namespace tools
