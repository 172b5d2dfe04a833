// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <dlog.h>

#include <cstdarg>
#include <cstdio>

#include "state.h"

namespace {

std::string Format(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length <= 0) return {};
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  return text;
}

}  // namespace

extern "C" {

int dlog_vprint(log_priority prio, const char* tag, const char* fmt, va_list ap) {
  const fake::SideScope side(fake::Side::kPlatform);
  if (const int error = fake::internal::NextError("dlog_print")) return error;
  if (!tag || !fmt) return DLOG_ERROR_INVALID_PARAMETER;
  const std::string text = Format(fmt, ap);
  fake::internal::State& state = fake::internal::GetState();
  const std::lock_guard<std::mutex> lock(state.log_mutex);
  state.log.push_back({prio, tag, text});
  return static_cast<int>(text.size());
}

int dlog_print(log_priority prio, const char* tag, const char* fmt, ...) {
  va_list arguments;
  va_start(arguments, fmt);
  const int written = dlog_vprint(prio, tag, fmt, arguments);
  va_end(arguments);
  return written;
}

}  // extern "C"

namespace fake {

std::vector<LogLine> Log() {
  internal::State& state = internal::GetState();
  const std::lock_guard<std::mutex> lock(state.log_mutex);
  return state.log;
}

void ClearLog() {
  internal::State& state = internal::GetState();
  const std::lock_guard<std::mutex> lock(state.log_mutex);
  state.log.clear();
}

}  // namespace fake
