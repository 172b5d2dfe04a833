// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <qor_agent.h>

#include <cstring>
#include <exception>
#include <fstream>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent.h"
#include "error.h"
#include "text/utf8.h"

struct qor_agent_s {
  explicit qor_agent_s(const qor_agent_settings_s& settings) : agent(settings) {}
  qor::agent::Agent agent;
};

namespace {

using qor::agent::Command;
using qor::agent::Error;

// The library below has one set of callbacks per process.
bool is_open = false;

// Runs `body`, which returns a code, and turns exceptions into codes.
template <typename Body>
int Guard(Body body) {
  try {
    return body();
  } catch (const Error& error) {
    return error.code();
  } catch (const std::bad_alloc&) {
    return QOR_AGENT_ERROR_OUT_OF_MEMORY;
  } catch (const std::exception&) {
    return QOR_AGENT_ERROR_IO_ERROR;
  }
}

int CheckText(const char* text, std::size_t max_bytes) {
  const std::string_view view(text);
  if (view.size() > max_bytes) return QOR_AGENT_ERROR_TOO_LONG;
  return text::IsValidUtf8(view) ? QOR_AGENT_ERROR_NONE : QOR_AGENT_ERROR_INVALID_TEXT;
}

int Check(const qor_agent_command_s& command) {
  const auto is_empty = [](const char* text) { return text == nullptr || *text == '\0'; };
  const bool has_policy =
      command.policy == QOR_AGENT_AT_MOST_ONCE || command.policy == QOR_AGENT_AT_LEAST_ONCE;
  if (command.size != sizeof command || is_empty(command.uuid) || is_empty(command.request_type) ||
      command.timestamp < 0 || !has_policy) {
    return QOR_AGENT_ERROR_INVALID_PARAMETER;
  }
  if (const int error = CheckText(command.uuid, QOR_AGENT_MAX_UUID)) return error;
  if (const int error = CheckText(command.request_type, QOR_AGENT_MAX_REQUEST_TYPE)) return error;
  return command.payload == nullptr ? QOR_AGENT_ERROR_NONE
                                    : CheckText(command.payload, QOR_AGENT_MAX_PAYLOAD);
}

Command CommandOf(const qor_agent_command_s& submitted) {
  Command command;
  command.uuid = submitted.uuid;
  command.type = submitted.request_type;
  if (submitted.payload != nullptr) command.payload = submitted.payload;
  command.timestamp = submitted.timestamp;
  command.policy = submitted.policy;
  command.waits_for_handler = submitted.waits_for_handler;
  command.deadline_wall = submitted.deadline_ms;
  return command;
}

struct ErrorText {
  int code;
  const char* text;
};

constexpr ErrorText kErrorTexts[] = {
    {QOR_AGENT_ERROR_NONE, "success"},
    {QOR_AGENT_ERROR_IO_ERROR, "the journal cannot be read or written"},
    {QOR_AGENT_ERROR_LIBRARY, "the library cannot start"},
    {QOR_AGENT_ERROR_OUT_OF_MEMORY, "out of memory"},
    {QOR_AGENT_ERROR_PERMISSION_DENIED, "permission denied"},
    {QOR_AGENT_ERROR_BUSY, "the journal is in use"},
    {QOR_AGENT_ERROR_CONFLICT, "the uuid belongs to another command"},
    {QOR_AGENT_ERROR_INVALID_PARAMETER, "invalid parameter"},
    {QOR_AGENT_ERROR_NO_SPACE, "no space left on the device"},
    {QOR_AGENT_ERROR_READ_ONLY, "the journal is read-only"},
    {QOR_AGENT_ERROR_NOT_FOUND, "no outcome for the uuid"},
    {QOR_AGENT_ERROR_DEADLINE, "the deadline has passed"},
    {QOR_AGENT_ERROR_JOURNAL_DAMAGED, "the journal is damaged"},
    {QOR_AGENT_ERROR_INVALID_TEXT, "invalid UTF-8"},
    {QOR_AGENT_ERROR_TOO_LONG, "text too long"},
    {QOR_AGENT_ERROR_JOURNAL_VERSION, "the journal was written by a newer version"},
    {QOR_AGENT_ERROR_LIMIT, "too many commands"},
    {QOR_AGENT_ERROR_ALREADY_KNOWN, "submitted before"},
};

}  // namespace

extern "C" {

int qor_agent_open(const qor_agent_settings_s* settings, qor_agent_h* agent) {
  if (settings == nullptr || agent == nullptr || settings->size != sizeof *settings ||
      settings->on_outcome == nullptr || settings->max_extension_ms < 0 ||
      settings->remember_ms < 0) {
    return QOR_AGENT_ERROR_INVALID_PARAMETER;
  }
  if (is_open) return QOR_AGENT_ERROR_BUSY;
  return Guard([&] {
    *agent = new qor_agent_s(*settings);
    is_open = true;
    return QOR_AGENT_ERROR_NONE;
  });
}

void qor_agent_close(qor_agent_h agent) {
  if (agent == nullptr) return;
  delete agent;
  is_open = false;
}

int qor_agent_submit(qor_agent_h agent, const qor_agent_command_s* command) {
  int result = QOR_AGENT_ERROR_NONE;
  const int error = qor_agent_submit_many(agent, command, 1, &result);
  return error != QOR_AGENT_ERROR_NONE ? error : result;
}

int qor_agent_submit_many(qor_agent_h agent, const qor_agent_command_s* commands, size_t count,
                          int* results) {
  if (agent == nullptr || commands == nullptr || results == nullptr) {
    return QOR_AGENT_ERROR_INVALID_PARAMETER;
  }
  return Guard([&] {
    std::vector<Command> valid;
    for (size_t i = 0; i < count; ++i) {
      results[i] = Check(commands[i]);
      if (results[i] == QOR_AGENT_ERROR_NONE) valid.push_back(CommandOf(commands[i]));
    }
    const std::vector<int> submitted = agent->agent.Submit(std::move(valid));
    auto next = submitted.begin();
    for (size_t i = 0; i < count; ++i) {
      if (results[i] == QOR_AGENT_ERROR_NONE) results[i] = *next++;
    }
    return QOR_AGENT_ERROR_NONE;
  });
}

int qor_agent_confirm(qor_agent_h agent, const char* uuid) {
  if (agent == nullptr || uuid == nullptr) return QOR_AGENT_ERROR_INVALID_PARAMETER;
  return Guard([&] { return agent->agent.Confirm(uuid); });
}

size_t qor_agent_pending(qor_agent_h agent) {
  return agent != nullptr ? agent->agent.Pending() : 0;
}

int qor_agent_new_uuid(char uuid[37]) {
  if (uuid == nullptr) return QOR_AGENT_ERROR_INVALID_PARAMETER;
  return Guard([uuid] {
    constexpr std::size_t kLength = 36;
    std::string text;
    std::ifstream("/proc/sys/kernel/random/uuid") >> text;
    if (text.size() != kLength) return QOR_AGENT_ERROR_IO_ERROR;
    std::memcpy(uuid, text.c_str(), kLength + 1);
    return QOR_AGENT_ERROR_NONE;
  });
}

int qor_agent_loop_fd(qor_agent_h agent) {
  if (agent == nullptr) return QOR_AGENT_ERROR_INVALID_PARAMETER;
  return Guard([agent] { return agent->agent.Loop().Fd(); });
}

int qor_agent_loop_timeout(qor_agent_h agent) {
  // At once: the step then reports the error.
  if (agent == nullptr) return 0;
  return Guard([agent] { return agent->agent.Loop().TimeoutMs(); });
}

int qor_agent_loop_step(qor_agent_h agent) {
  if (agent == nullptr) return QOR_AGENT_ERROR_INVALID_PARAMETER;
  return Guard([agent] {
    agent->agent.Loop().Step();
    return QOR_AGENT_ERROR_NONE;
  });
}

const char* qor_agent_error_text(int error) {
  for (const ErrorText& entry : kErrorTexts) {
    if (entry.code == error) return entry.text;
  }
  return "unknown error";
}

}  // extern "C"
