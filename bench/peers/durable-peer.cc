// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "peers/durable-peer.h"

#include <Ecore.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "peers/meter.h"

namespace bench {

namespace {

constexpr int kTimeoutMs = 600'000;
constexpr unsigned kMaxCommands = 1'000'000;

void Require(int result, const char* what) {
  if (result == QOR_AGENT_ERROR_NONE) return;
  throw std::runtime_error(std::string(what) + ": " + qor_agent_error_text(result));
}

// Transactions of all databases of this process. SQLite calls the function for each that is opened.
double& Writes() {
  static double writes = 0;
  return writes;
}
void CountWrites() {
  const auto count = [](sqlite3* database, char**, const sqlite3_api_routines*) -> int {
    sqlite3_commit_hook(
        database,
        [](void*) {
          ++Writes();
          return 0;
        },
        nullptr);
    return SQLITE_OK;
  };
  int (*const function)(sqlite3*, char**, const sqlite3_api_routines*) = count;
  sqlite3_auto_extension(reinterpret_cast<void (*)()>(function));
}

qor_agent_command_s CommandOf(const std::string& uuid, const Texts& texts) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  qor_agent_command_s command = QOR_AGENT_COMMAND_INIT;
  command.uuid = uuid.c_str();
  command.request_type = texts.request_type.c_str();
  command.payload = texts.payload.c_str();
  command.deadline_ms =
      std::chrono::duration_cast<std::chrono::milliseconds>(now).count() + 3'600'000;
  return command;
}

// Throws unless all are accepted.
void SubmitMany(qor_agent_h agent, std::size_t first, std::size_t count, const Texts& texts,
                bool waits_for_handler) {
  std::vector<std::string> uuids;
  for (std::size_t i = 0; i < count; ++i) uuids.push_back(Texts::Uuid(first + i));
  std::vector<qor_agent_command_s> commands;
  for (const std::string& uuid : uuids) {
    commands.push_back(CommandOf(uuid, texts));
    commands.back().waits_for_handler = waits_for_handler;
  }
  std::vector<int> results(count);
  Require(qor_agent_submit_many(agent, commands.data(), count, results.data()), "cannot submit");
  for (const int result : results) Require(result, "command rejected");
}

}  // namespace

qor_agent_h OpenAgent(qor_agent_settings_s settings) {
  settings.connection_timeout_ms = settings.execution_timeout_ms = kTimeoutMs;
  settings.max_commands = kMaxCommands;
  qor_agent_h agent = nullptr;
  Require(qor_agent_open(&settings, &agent), "cannot open the agent");
  return agent;
}

DurablePeer::DurablePeer(const std::string& root, const std::string& journal, unsigned window) {
  setenv("QOR_PLATFORM_ROOT", root.c_str(), 1);
  CountWrites();
  ecore_init();
  qor_agent_settings_s settings = QOR_AGENT_SETTINGS_INIT;
  settings.journal = journal.empty() ? nullptr : journal.c_str();
  settings.window = window;
  settings.on_outcome = [](const qor_agent_outcome_s* outcome, void* self) {
    static_cast<DurablePeer*>(self)->OnOutcome(*outcome);
  };
  settings.user_data = this;
  agent_ = OpenAgent(settings);
}

DurablePeer::~DurablePeer() {
  qor_agent_close(agent_);
  ecore_shutdown();
}

void DurablePeer::Submit(std::size_t count, const std::string& payload) {
  Texts texts(0);
  texts.payload = payload;
  SubmitMany(agent_, submitted_, count, texts, false);
  submitted_ += count;
}

void DurablePeer::OnOutcome(const qor_agent_outcome_s& outcome) {
  has_failed_ = has_failed_ || outcome.kind != QOR_AGENT_SUCCEEDED;
  qor_agent_confirm(agent_, outcome.uuid);
  on_outcome_();
}

Cost DurablePeer::Measure(const Workload& workload) {
  const std::string payload(workload.payload_bytes, 'x');
  struct Progress {
    std::size_t submitted = 0;
    std::size_t done = 0;
    std::size_t ended = 0;  // since the last submission
    std::function<void()> next;
  } progress;
  const double writes = Writes();
  Meter meter(workload);
  on_outcome_ = [&] {
    meter.Lap();
    ++progress.done;
    ++progress.ended;
    if (has_failed_ || progress.done == workload.count) ecore_main_loop_quit();
  };
  const auto submit = [&](std::size_t count) {
    count = std::min(count, workload.count - progress.submitted);
    if (count == 0) return;
    progress.submitted += count;
    Submit(count, payload);
  };
  progress.next = [&] { submit(std::exchange(progress.ended, 0)); };
  Ecore_Idle_Enterer* const enterer = ecore_idle_enterer_add(
      [](void* data) -> Eina_Bool {
        static_cast<Progress*>(data)->next();
        return ECORE_CALLBACK_RENEW;
      },
      &progress);
  submit(workload.in_flight);
  ecore_main_loop_begin();
  ecore_idle_enterer_del(enterer);
  if (has_failed_) throw std::runtime_error("a command failed");
  Cost cost = meter.Finish();
  cost.writes = (Writes() - writes) / static_cast<double>(workload.count);
  return cost;
}

void HoldCommands(const std::string& journal, std::size_t count, std::size_t payload_bytes) {
  qor_agent_settings_s settings = QOR_AGENT_SETTINGS_INIT;
  settings.journal = journal.c_str();
  settings.on_outcome = [](const qor_agent_outcome_s*, void*) {};
  const qor_agent_h agent = OpenAgent(settings);
  Texts texts(payload_bytes);
  texts.request_type = "unserved";
  SubmitMany(agent, 0, count, texts, true);
  qor_agent_close(agent);
}

}  // namespace bench
