// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/agent/handler-ends.h"

#include <new>
#include <utility>

#include "platform/linux/app-control/launch-observer.h"

namespace tools::cli {

namespace {

void OnEnd(const char* app_id, pid_t pid, const qor_platform_process_end_s* end, void* on_end) {
  HandlerEnd passed;
  passed.handler = app_id;
  passed.pid = pid;
  passed.status = end->status;
  passed.signal = end->signal;
  passed.is_success = end->kind == QOR_PLATFORM_PROCESS_EXITED && end->status == 0;
  passed.has_connected = end->has_connected != 0;
  passed.text = end->text;
  (*static_cast<std::function<void(const HandlerEnd&)>*>(on_end))(passed);
}

}  // namespace

std::string Describe(const HandlerEnd& end) {
  // The text is a sentence of its own when there was no process.
  if (end.pid == 0) return end.handler + ": " + end.text;
  return end.handler + " " + end.text + (end.has_connected ? "" : ", before it connected");
}

void WriteMembers(json::ValueWriter& json, const HandlerEnd& end) {
  json.Member("handler", end.handler).Member("process", static_cast<int>(end.pid));
  json.Member("status", end.status).Member("signal", end.signal).Member("text", end.text);
}

HandlerEnds::HandlerEnds(std::function<void(const HandlerEnd&)> on_end)
    : on_end_(std::move(on_end)) {
  if (qor_platform_add_process_end_cb(&OnEnd, &on_end_) != 0) throw std::bad_alloc();
}

HandlerEnds::~HandlerEnds() { qor_platform_remove_process_end_cb(&OnEnd, &on_end_); }

}  // namespace tools::cli
