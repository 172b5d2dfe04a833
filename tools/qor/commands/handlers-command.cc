// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <CLI/CLI.hpp>

#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "inspect/package.h"
#include "qor/commands/commands.h"
#include "qor/commands/identity.h"
#include "qor/output/exit-codes.h"
#include "qor/output/finding-json.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

struct Line {
  std::string change;  // empty in a plain list
  std::string app_id;
  std::vector<std::string> request_types;
  const inspect::Priority* priority = nullptr;  // null when it is not known (any more)
};

void Write(json::ValueWriter& json, const Line& line) {
  json.BeginObject();
  if (!line.change.empty()) json.Member("change", line.change);
  json.Member("appId", line.app_id);
  WriteTexts(json.Key("requestTypes"), line.request_types);
  if (line.priority != nullptr) json.Member("priority", line.priority->Value());
  json.EndObject();
}

void Print(const Line& line, bool as_json) {
  if (as_json) {
    json::ValueWriter json;
    Write(json, line);
    std::cout << json.Text() << std::endl;
    return;
  }
  if (!line.change.empty()) std::cout << line.change << " ";
  std::cout << text::Printable(line.app_id) << " ";
  std::cout << (line.priority != nullptr ? std::to_string(line.priority->Value()) : "-");
  for (const auto& type : line.request_types) std::cout << " " << text::Printable(type);
  std::cout << std::endl;
}

// The priorities of the handlers as they are now.
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

void PrintList(const tools::Agent& agent, bool as_json) {
  const Priorities priorities;
  json::ValueWriter json;
  json.BeginArray();
  for (const auto& handler : agent.Handlers()) {
    const Line line{"", handler.app_id, handler.request_types, priorities.Of(handler.app_id)};
    if (as_json) {
      Write(json, line);
    } else {
      Print(line, false);
    }
  }
  if (as_json) std::cout << json.EndArray().Text() << "\n";
}

// Notes that the user, or the system, wants the program to end.
class Interruption {
 public:
  Interruption()
      : handler_(ecore_event_handler_add(
            ECORE_EVENT_SIGNAL_EXIT,
            [](void* data, int, void*) -> Eina_Bool {
              static_cast<Interruption*>(data)->came_ = true;
              return ECORE_CALLBACK_DONE;
            },
            this)) {}
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption() { ecore_event_handler_del(handler_); }

  bool Came() const { return came_; }

 private:
  Ecore_Event_Handler* handler_;
  bool came_ = false;
};

// What there is first, then every change until the user interrupts.
void Watch(const tools::Agent& agent, bool as_json) {
  const Interruption interruption;
  const Priorities before;
  for (const auto& handler : agent.Handlers()) {
    Print({"present", handler.app_id, handler.request_types, before.Of(handler.app_id)}, as_json);
  }
  std::size_t printed = 0;
  const auto print_changes = [&] {
    if (printed == agent.Updates().size()) return;
    const Priorities now;
    for (; printed < agent.Updates().size(); ++printed) {
      const auto& update = agent.Updates()[printed];
      const bool is_gone = update.type == QOR_HANDLER_UPDATE_REMOVED;
      Print({tools::NameOf(update.type), update.app_id, update.request_types,
             is_gone ? nullptr : now.Of(update.app_id)},
            as_json);
    }
  };
  // The main loop's waits are bounded.
  constexpr double kDaySeconds = 86'400;
  const auto is_over = [&] {
    print_changes();
    return interruption.Came();
  };
  while (!tools::RunUntil(is_over, kDaySeconds)) continue;
}

int RunHandlers(bool watch, bool as_json) {
  TakeIdentity();
  const tools::Agent agent(0, 0);
  if (watch) {
    Watch(agent, as_json);
  } else {
    PrintList(agent, as_json);
  }
  return kSuccess;
}

}  // namespace

void AddHandlersCommand(CLI::App& app, Choice& choice) {
  CLI::App* handlers =
      app.add_subcommand("handlers", "List the handlers with priority and request types");
  handlers->footer(
      "Example:\n"
      "  qor handlers --json");
  const auto watch = std::make_shared<bool>(false);
  handlers->add_flag("--watch", *watch, "Go on with the changes, until interrupted");
  handlers->add_flag("--json", choice.json, "Print JSON: one array, a line each with --watch");
  handlers->callback([watch, &choice] {
    choice.run = [watch, &choice] { return RunHandlers(*watch, choice.json); };
  });
}

}  // namespace tools::cli
