// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/handlers.h"
#include "base/run-until.h"
#include "base/stop-signals.h"
#include "inspect/package.h"
#include "qor/agent/open-agent.h"
#include "qor/commands/commands.h"
#include "qor/commands/identity.h"
#include "qor/output/exit-codes.h"
#include "qor/output/finding-json.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

struct Row {
  std::string change;  // empty without --watch
  std::string app_id;
  std::vector<std::string> request_types;
  const inspect::Priority* priority = nullptr;  // null for a handler that is not installed
};

void Write(json::ValueWriter& json, const Row& row) {
  json.BeginObject();
  if (!row.change.empty()) json.Member("change", row.change);
  json.Member("appId", row.app_id);
  WriteTexts(json.Key("requestTypes"), row.request_types);
  if (row.priority != nullptr) json.Member("priority", row.priority->Value());
  json.EndObject();
}

void Print(const Row& row, bool as_json) {
  if (as_json) {
    json::ValueWriter json;
    Write(json, row);
    std::cout << json.Text() << std::endl;
    return;
  }
  if (!row.change.empty()) std::cout << row.change << " ";
  std::cout << text::Printable(row.app_id) << " ";
  std::cout << (row.priority != nullptr ? std::to_string(row.priority->Value()) : "-");
  for (const auto& type : row.request_types) std::cout << " " << text::Printable(type);
  std::cout << std::endl;
}

// The priorities of the installed handlers when the object is created.
class Priorities {
 public:
  Priorities() {
    for (auto& package : inspect::InspectInstalledPackages()) {
      for (auto& application : package.applications) {
        priorities_.emplace(application.record.id, application.priority);
      }
    }
  }

  const inspect::Priority* Of(const std::string& app_id) const {
    const auto found = priorities_.find(app_id);
    return found != priorities_.end() ? &found->second : nullptr;
  }

 private:
  std::map<std::string, inspect::Priority> priorities_;
};

void PrintList(bool as_json) {
  const Priorities priorities;
  json::ValueWriter json;
  json.BeginArray();
  for (const auto& handler : tools::ListHandlers()) {
    const Row row{"", handler.app_id, handler.request_types, priorities.Of(handler.app_id)};
    if (as_json) {
      Write(json, row);
    } else {
      Print(row, false);
    }
  }
  if (as_json) std::cout << json.EndArray().Text() << "\n";
}

struct Update {
  qor_handler_update_type_e type;
  tools::Handler handler;
};

// Prints the handlers, then every change until a signal arrives or a write fails.
void Watch(std::vector<Update>& updates, bool as_json) {
  const StopSignals stop;
  const Priorities before;
  for (const auto& handler : tools::ListHandlers()) {
    Print({"present", handler.app_id, handler.request_types, before.Of(handler.app_id)}, as_json);
  }
  const auto is_stopped = [&stop] { return stop.Caught() != 0 || !std::cout; };
  tools::RunUntil([&] {
    if (updates.empty()) return is_stopped();
    const Priorities now;
    for (const Update& update : updates) {
      const bool is_removed = update.type == QOR_HANDLER_UPDATE_REMOVED;
      Print({tools::NameOf(update.type), update.handler.app_id, update.handler.request_types,
             is_removed ? nullptr : now.Of(update.handler.app_id)},
            as_json);
    }
    updates.clear();
    return is_stopped();
  });
}

int RunHandlers(bool watch, bool as_json) {
  TakeIdentity();
  std::vector<Update> updates;
  qor::Agent::Settings settings;
  // No command is submitted.
  settings.on_outcome = [](const qor::Agent::Outcome&) {};
  settings.on_handler_update = [&updates](qor_handler_update_type_e type,
                                          qor_handler_manager_handler_info_h info) {
    updates.push_back({type, tools::HandlerOf(info)});
  };
  const auto agent = OpenAgent(settings);
  if (watch) {
    Watch(updates, as_json);
  } else {
    PrintList(as_json);
  }
  return kSuccess;
}

}  // namespace

void AddHandlersCommand(CLI::App& app, SelectedCommand& selected) {
  CLI::App* handlers =
      app.add_subcommand("handlers", "list the handlers with priority and request types");
  handlers->footer(
      "Example:\n"
      "  qor handlers --json");
  const auto watch = std::make_shared<bool>(false);
  handlers->add_flag("--watch", *watch, "then print changes until interrupted");
  handlers->add_flag("--json", selected.json, "print a JSON array; with --watch, JSON Lines");
  handlers->callback([watch, &selected] {
    selected.run = [watch, &selected] { return RunHandlers(*watch, selected.json); };
  });
}

}  // namespace tools::cli
