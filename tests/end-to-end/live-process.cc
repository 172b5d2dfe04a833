// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "live-process.h"

#include "base/process.h"
#include "base/run-until.h"
#include "end-to-end-test.h"

namespace end_to_end {

LiveProcess::LiveProcess(const std::vector<std::string>& arguments)
    : handlers_{ecore_event_handler_add(ECORE_EXE_EVENT_DATA, OnData, this),
                ecore_event_handler_add(ECORE_EXE_EVENT_ERROR, OnData, this),
                ecore_event_handler_add(ECORE_EXE_EVENT_DEL, OnEnd, this)} {
  process_ =
      ecore_exe_pipe_run(tools::CommandLine(arguments).c_str(),
                         static_cast<Ecore_Exe_Flags>(ECORE_EXE_PIPE_READ | ECORE_EXE_PIPE_ERROR |
                                                      ECORE_EXE_PIPE_WRITE),
                         nullptr);
}

LiveProcess::~LiveProcess() {
  if (!ended_) {
    ecore_exe_kill(process_);
    AwaitEnd();
  }
  for (auto* handler : handlers_) ecore_event_handler_del(handler);
}

void LiveProcess::Write(const std::string& text) {
  ecore_exe_send(process_, text.data(), static_cast<int>(text.size()));
}

void LiveProcess::CloseInput() {
  // Ecore closes the pipe after the next write.
  Write("\n");
  ecore_exe_close_stdin(process_);
}

bool LiveProcess::AwaitText(const std::string& where, const std::string& text) {
  const auto printed = [&] { return where.find(text) != std::string::npos; };
  return tools::RunUntil([&] { return ended_ || printed(); }, kTimeoutSeconds) && printed();
}

void LiveProcess::Interrupt() { ecore_exe_interrupt(process_); }

void LiveProcess::Terminate() { ecore_exe_terminate(process_); }

void LiveProcess::Kill() { ecore_exe_kill(process_); }

int LiveProcess::AwaitEnd() {
  tools::RunUntil([this] { return ended_; }, kTimeoutSeconds);
  return exit_status_;
}

Eina_Bool LiveProcess::OnData(void* data, int type, void* event) {
  auto* self = static_cast<LiveProcess*>(data);
  const auto* bytes = static_cast<Ecore_Exe_Event_Data*>(event);
  if (bytes->exe != self->process_) return ECORE_CALLBACK_PASS_ON;
  std::string& text = type == ECORE_EXE_EVENT_DATA ? self->output_ : self->errors_;
  text.append(static_cast<const char*>(bytes->data), static_cast<std::size_t>(bytes->size));
  return ECORE_CALLBACK_DONE;
}

Eina_Bool LiveProcess::OnEnd(void* data, int, void* event) {
  auto* self = static_cast<LiveProcess*>(data);
  const auto* end = static_cast<Ecore_Exe_Event_Del*>(event);
  if (end->exe != self->process_) return ECORE_CALLBACK_PASS_ON;
  self->ended_ = true;
  if (end->exited) self->exit_status_ = end->exit_code;
  return ECORE_CALLBACK_DONE;
}

}  // namespace end_to_end
