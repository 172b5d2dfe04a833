// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "live-process.h"

#include <csignal>

#include "end-to-end-test.h"

namespace end_to_end {

Eina_Bool LiveProcess::Append(void* self, void* event, std::string LiveProcess::*text) {
  auto* process = static_cast<LiveProcess*>(self);
  const auto* bytes = static_cast<Ecore_Exe_Event_Data*>(event);
  if (bytes->exe != process->process_) return ECORE_CALLBACK_PASS_ON;
  (process->*text)
      .append(static_cast<const char*>(bytes->data), static_cast<std::size_t>(bytes->size));
  return ECORE_CALLBACK_DONE;
}

LiveProcess::LiveProcess(const std::vector<std::string>& arguments) {
  handlers_[0] = ecore_event_handler_add(
      ECORE_EXE_EVENT_DATA,
      [](void* self, int, void* event) { return Append(self, event, &LiveProcess::output_); },
      this);
  handlers_[1] = ecore_event_handler_add(
      ECORE_EXE_EVENT_ERROR,
      [](void* self, int, void* event) { return Append(self, event, &LiveProcess::errors_); },
      this);
  handlers_[2] = ecore_event_handler_add(
      ECORE_EXE_EVENT_DEL,
      [](void* data, int, void* event) -> Eina_Bool {
        auto* self = static_cast<LiveProcess*>(data);
        const auto* end = static_cast<Ecore_Exe_Event_Del*>(event);
        if (end->exe != self->process_) return ECORE_CALLBACK_PASS_ON;
        self->ended_ = true;
        if (end->exited) self->exit_status_ = end->exit_code;
        return ECORE_CALLBACK_DONE;
      },
      this);
  std::string command = "exec";
  for (const auto& argument : arguments) command += " '" + argument + "'";
  process_ =
      ecore_exe_pipe_run(command.c_str(),
                         static_cast<Ecore_Exe_Flags>(ECORE_EXE_PIPE_READ | ECORE_EXE_PIPE_ERROR |
                                                      ECORE_EXE_PIPE_WRITE),
                         nullptr);
}

LiveProcess::~LiveProcess() {
  if (!ended_) {
    Signal(SIGKILL);
    AwaitEnd();
  }
  for (auto* handler : handlers_) ecore_event_handler_del(handler);
}

void LiveProcess::Write(const std::string& text) {
  ecore_exe_send(process_, text.data(), static_cast<int>(text.size()));
}

void LiveProcess::CloseInput() {
  // It is closed once something has been written.
  Write("\n");
  ecore_exe_close_stdin(process_);
}

void LiveProcess::Signal(int signal) { kill(ecore_exe_pid_get(process_), signal); }

bool LiveProcess::AwaitText(const std::string& where, const std::string& text) {
  return tools::RunUntil([&] { return where.find(text) != std::string::npos; }, kPatienceSeconds);
}

int LiveProcess::AwaitEnd() {
  tools::RunUntil([this] { return ended_; }, kPatienceSeconds);
  return exit_status_;
}

}  // namespace end_to_end
