// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_HPP_
#define QOR_AGENT_HPP_

/// \file
/// The functions of qor_agent.h for C++17. Header-only: no C++ type crosses the library's boundary.

#include <qor_agent.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qor {

/// A failure of a function of this header.
class AgentError : public std::runtime_error {
 public:
  /// \param code  a qor_agent_error_e
  explicit AgentError(int code) : std::runtime_error(qor_agent_error_text(code)), code_(code) {}
  /// \return the qor_agent_error_e
  int Code() const { return code_; }

 private:
  int code_;
};

/// An open agent, see qor_agent_open(). Everything on the main loop's thread.
class Agent {
 public:
  using WallClock = std::chrono::system_clock;

  /// See qor_agent_command_s.
  struct Command {
    /// Empty for a random one.
    std::string uuid;
    std::string type;
    std::string payload;
    WallClock::time_point deadline;
    qor_agent_policy_e policy = QOR_AGENT_AT_MOST_ONCE;
    bool waits_for_handler = false;
    WallClock::time_point timestamp = WallClock::now();
  };
  /// See qor_agent_outcome_s.
  struct Outcome {
    std::string uuid;
    std::string type;
    qor_agent_outcome_kind_e kind;
    qor_agent_reason_e reason;
    int status;
    std::string result;
    std::string error;
    bool is_amendment;
  };
  /// See qor_agent_settings_s. What the callbacks throw ends the program.
  struct Settings {
    std::string journal;
    bool replace_damaged_journal = false;
    unsigned window = 1;
    unsigned max_commands = 0;
    std::uint64_t max_bytes = 0;
    std::chrono::milliseconds connection_timeout{0};
    std::chrono::milliseconds execution_timeout{0};
    std::chrono::milliseconds max_extension{0};
    std::chrono::milliseconds remember{0};
    std::function<void(const Outcome&)> on_outcome;
    std::function<bool(const std::string& handler, const std::string& uuid, double seconds)>
        on_extension;
    std::function<void(qor_handler_update_type_e, qor_handler_manager_handler_info_h)>
        on_handler_update;
    std::function<void(const std::string&)> on_log;
  };

  /// Opens the agent. Throws AgentError.
  explicit Agent(Settings settings) : settings_(std::move(settings)) {
    const qor_agent_settings_s raw = RawSettings();
    Check(qor_agent_open(&raw, &agent_));
  }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;
  ~Agent() { qor_agent_close(agent_); }

  /// Submits a command, see qor_agent_submit(). Throws AgentError.
  /// \return its uuid
  std::string Submit(Command command) {
    if (command.uuid.empty()) command.uuid = NewUuid();
    const qor_agent_command_s raw = RawCommand(command);
    Check(qor_agent_submit(agent_, &raw));
    return command.uuid;
  }
  /// Submits several, see qor_agent_submit_many(). Throws AgentError.
  /// \return a code for each
  std::vector<int> SubmitMany(const std::vector<Command>& commands) {
    std::vector<qor_agent_command_s> raw;
    for (const Command& command : commands) raw.push_back(RawCommand(command));
    std::vector<int> results(commands.size());
    if (!raw.empty()) {
      Check(qor_agent_submit_many(agent_, raw.data(), raw.size(), results.data()));
    }
    return results;
  }
  /// Confirms an outcome, see qor_agent_confirm(). Throws AgentError.
  void Confirm(const std::string& uuid) { Check(qor_agent_confirm(agent_, uuid.c_str())); }
  /// \return the number of commands without an outcome
  std::size_t Pending() const { return qor_agent_pending(agent_); }

  /// See qor_agent_loop_fd(). Throws AgentError.
  int LoopFd() {
    const int fd = qor_agent_loop_fd(agent_);
    if (fd < 0) throw AgentError(fd);
    return fd;
  }
  /// See qor_agent_loop_timeout().
  int LoopTimeoutMs() const { return qor_agent_loop_timeout(agent_); }
  /// See qor_agent_loop_step(). Throws AgentError.
  void LoopStep() { Check(qor_agent_loop_step(agent_)); }

  /// \return a random uuid. Throws AgentError.
  static std::string NewUuid() {
    char uuid[37];
    Check(qor_agent_new_uuid(uuid));
    return uuid;
  }

 private:
  static void Check(int code) {
    if (code != QOR_AGENT_ERROR_NONE) throw AgentError(code);
  }
  static std::int64_t Milliseconds(WallClock::time_point time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  }
  static qor_agent_command_s RawCommand(const Command& command) {
    qor_agent_command_s raw = QOR_AGENT_COMMAND_INIT;
    raw.uuid = command.uuid.c_str();
    raw.request_type = command.type.c_str();
    raw.payload = command.payload.c_str();
    raw.timestamp = WallClock::to_time_t(command.timestamp);
    raw.deadline_ms = Milliseconds(command.deadline);
    raw.policy = command.policy;
    raw.waits_for_handler = command.waits_for_handler;
    return raw;
  }
  static Settings& SettingsOf(void* self) { return static_cast<Agent*>(self)->settings_; }

  qor_agent_settings_s RawSettings() {
    qor_agent_settings_s raw = QOR_AGENT_SETTINGS_INIT;
    raw.journal = settings_.journal.empty() ? nullptr : settings_.journal.c_str();
    raw.replace_damaged_journal = settings_.replace_damaged_journal;
    raw.window = settings_.window;
    raw.max_commands = settings_.max_commands;
    raw.max_bytes = settings_.max_bytes;
    raw.connection_timeout_ms = static_cast<int>(settings_.connection_timeout.count());
    raw.execution_timeout_ms = static_cast<int>(settings_.execution_timeout.count());
    raw.max_extension_ms = settings_.max_extension.count();
    raw.remember_ms = settings_.remember.count();
    raw.on_outcome = [](const qor_agent_outcome_s* outcome, void* self) noexcept {
      SettingsOf(self).on_outcome({outcome->uuid, outcome->request_type, outcome->kind,
                                   outcome->reason, outcome->status, outcome->result,
                                   outcome->error, outcome->is_amendment});
    };
    if (settings_.on_extension) {
      raw.on_extension = [](const char* handler, const char* uuid, double seconds,
                            void* self) noexcept {
        return SettingsOf(self).on_extension(handler, uuid, seconds);
      };
    }
    if (settings_.on_handler_update) {
      raw.on_handler_update = [](qor_handler_update_type_e type,
                                 qor_handler_manager_handler_info_h info, void* self) noexcept {
        SettingsOf(self).on_handler_update(type, info);
      };
    }
    if (settings_.on_log) {
      raw.on_log = [](const char* text, void* self) noexcept { SettingsOf(self).on_log(text); };
    }
    raw.user_data = this;
    return raw;
  }

  Settings settings_;
  qor_agent_h agent_ = nullptr;
};

}  // namespace qor

#endif
