// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The agent of `qor check --run`, in a process of its own so that it can be restarted. It uses the
// plain C interface, because the checks observe what the library for durable commands hides: second
// answers, repeated commands, and the library's timeouts.
//
// Each line of standard input is {"uuid":...,"type":...,"payload":...}, and is answered with
// {"sent":UUID,"error":CODE}. Later events are {"extension":UUID,"seconds":...}, which is granted,
// {"answered":UUID,"status":...,"text":...}, and {"ended":HANDLER,"text":...} when the process of
// the handler that it had launched ends before it connects.

#include <Ecore.h>
#include <qor_handler_manager.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "base/run-until.h"
#include "base/stop-signals.h"
#include "json/json.h"
#include "json/value-writer.h"
#include "qor/agent/handler-ends.h"
#include "qor/commands/commands.h"
#include "qor/commands/identity.h"
#include "qor/commands/timeout-options.h"
#include "qor/output/tool-error.h"
#include "qor/protocol/line-reader.h"
#include "qor/protocol/line-writer.h"

namespace tools::cli {

namespace {

// The initialized library.
class Library {
 public:
  explicit Library(const Timeouts& timeouts) {
    ecore_init();
    const int error = Start(timeouts);
    if (error == QOR_HANDLER_MANAGER_ERROR_NONE) return;
    Stop();
    throw ToolError(kError, "cannot start the library: error " + std::to_string(error));
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { Stop(); }

 private:
  static int Start(const Timeouts& timeouts) {
    qor_handler_manager_configuration_h config = nullptr;
    if (const int error = qor_handler_manager_configuration_create(&config)) return error;
    qor_handler_manager_configuration_set_command_execution_timeout(
        config, static_cast<int>(timeouts.execution.count()));
    qor_handler_manager_configuration_set_connection_timeout(
        config, static_cast<int>(timeouts.connection.count()));
    const int error = qor_handler_manager_initialize(config);
    qor_handler_manager_configuration_destroy(config);
    return error;
  }
  static void Stop() {
    qor_handler_manager_shutdown();
    ecore_shutdown();
  }
};

class Probe {
 public:
  explicit Probe(const Timeouts& timeouts)
      : library_(timeouts),
        handler_ends_([this](const HandlerEnd& end) { OnHandlerEnd(end); }),
        input_(STDIN_FILENO, {[this](int, std::string_view line) { OnLine(line); },
                              [this](int) { has_failed_ = true; }}) {
    qor_handler_manager_set_response_cb(
        [](const char* uuid, qor_request_status_e status, const char* result, int result_length,
           const char* error, int error_length, void* self) {
          const bool is_success = status == QOR_REQUEST_STATUS_SUCCESS;
          const int length = is_success ? result_length : error_length;
          static_cast<Probe*>(self)->OnResponse(
              uuid, static_cast<int>(status),
              {is_success ? result : error, static_cast<std::size_t>(length)});
        },
        this);
    qor_handler_manager_set_negotiate_request_cb(
        [](const char*, const char* uuid, double seconds, void* self) {
          static_cast<Probe*>(self)->OnExtension(uuid, seconds);
          return 0;
        },
        this);
  }

  int Run() {
    RunUntil([this] {
      return stop_.Caught() != 0 || has_failed_ || input_.AtEnd() || output_.IsClosed();
    });
    return has_failed_ ? kError : kSuccess;
  }

 private:
  void OnLine(std::string_view line) {
    json::Document command;
    command.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
    const auto text = [&command](const char* key) {
      return std::string(command[key].GetString(), command[key].GetStringLength());
    };
    const std::string payload = text("payload");
    const int error = qor_handler_manager_send_command(
        text("uuid").c_str(), text("type").c_str(), payload.c_str(),
        static_cast<int>(payload.size()), std::time(nullptr));
    json::ValueWriter json;
    Write(json.BeginObject().Member("sent", text("uuid")).Member("error", error));
  }

  void OnResponse(const std::string& uuid, int status, std::string_view text) {
    json::ValueWriter json;
    Write(
        json.BeginObject().Member("answered", uuid).Member("status", status).Member("text", text));
  }

  void OnExtension(const std::string& uuid, double seconds) {
    json::ValueWriter json;
    Write(json.BeginObject().Member("extension", uuid).Member("seconds", seconds));
  }

  void OnHandlerEnd(const HandlerEnd& end) {
    if (end.has_connected) return;
    json::ValueWriter json;
    Write(json.BeginObject().Member("ended", end.handler).Member("text", end.text));
  }

  void Write(json::ValueWriter& object) { output_.Write(object.EndObject().Text()); }

  const Library library_;
  bool has_failed_ = false;
  LineWriter output_;
  const HandlerEnds handler_ends_;
  LineReader input_;
  const StopSignals stop_;
};

}  // namespace

void AddProbeCommand(CLI::App& app, SelectedCommand& selected) {
  CLI::App* probe = app.add_subcommand("probe", "the agent of \"qor check --run\"");
  probe->group("");
  const auto timeouts = std::make_shared<Timeouts>();
  AddTimeoutOptions(*probe, *timeouts);
  probe->callback([timeouts, &selected] {
    selected.run = [timeouts] {
      TakeIdentity();
      return Probe(*timeouts).Run();
    };
  });
}

}  // namespace tools::cli
