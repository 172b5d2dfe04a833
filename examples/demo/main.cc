// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Shows the flow of commands and of registry changes with real processes: an agent (this program),
// handler applications launched by the platform, packages installed by the qor tool.
//
//   qor-demo QOR_TOOL PACKAGES_FOLDER
//
// The platform's root folder is $QOR_PLATFORM_ROOT and should be empty.

#include <Ecore.h>
#include <qor/agent.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "base/handlers.h"
#include "base/process.h"
#include "base/run-until.h"
#include "scoreboard.h"

namespace {

using std::chrono::seconds;

constexpr seconds kExecutionTimeout{2};
constexpr seconds kConnectionTimeout{2};
// Of each command. Longer than both timeouts, which makes their expiry visible.
constexpr seconds kDeadline{4};
// Far above the duration of any step.
constexpr seconds kTimeout{60};

const char* NameOf(qor_agent_outcome_kind_e kind) {
  switch (kind) {
    case QOR_AGENT_SUCCEEDED:
      return "succeeded";
    case QOR_AGENT_FAILED:
      return "failed";
    case QOR_AGENT_NOT_DELIVERED:
      return "not delivered";
    case QOR_AGENT_UNKNOWN:
      return "unknown";
  }
  return "";
}

const char* NameOf(qor_agent_reason_e reason) {
  switch (reason) {
    case QOR_AGENT_REASON_NONE:
      return "";
    case QOR_AGENT_REASON_NO_HANDLER:
      return ", no handler";
    case QOR_AGENT_REASON_LAUNCH_FAILED:
      return ", launch failed";
    case QOR_AGENT_REASON_NOT_CONNECTED:
      return ", not connected";
    case QOR_AGENT_REASON_NOT_SENT:
      return ", not sent";
  }
  return "";
}

class Demo {
 public:
  Demo(std::string tool, std::string packages)
      : tool_(std::move(tool)), packages_(std::move(packages)) {}

  bool Run() {
    board_.Headline("Install two handler packages and start the agent");
    Install("text");
    Install("silent");
    StartAgent();
    board_.Line("registered handlers", std::to_string(tools::ListHandlers().size()),
                tools::ListHandlers().size() == 2);
    ShowCommands();
    ShowNegotiation();
    ShowDeadlines();
    ShowRegistryChanges();
    return board_.Finish();
  }

 private:
  struct Update {
    qor_handler_update_type_e type;
    tools::Handler handler;
  };

  void StartAgent() {
    qor::Agent::Settings settings;
    settings.execution_timeout = kExecutionTimeout;
    settings.connection_timeout = kConnectionTimeout;
    settings.on_outcome = [this](const qor::Agent::Outcome& outcome) {
      outcomes_.push_back(outcome);
    };
    settings.on_extension = [this](const std::string&, const std::string&, double) {
      return grants_;
    };
    settings.on_handler_update = [this](qor_handler_update_type_e type,
                                        qor_handler_manager_handler_info_h info) {
      updates_.push_back({type, tools::HandlerOf(info)});
    };
    agent_.emplace(settings);
  }

  void ShowCommands() {
    board_.Headline("Commands");
    ExpectSuccess("handler not running: launched", "text.upper", R"("hello")", "HELLO");
    ExpectSuccess("handler connected", "text.upper", R"("again")", "AGAIN");
    ExpectFailure("handler fails the command", "text.reject", "this handler refuses");
    ExpectNoHandler("unknown request type", "no.such.type");
  }

  void ShowNegotiation() {
    board_.Headline("Extensions of the deadline");
    ExpectSuccess("extension granted", "text.slow", "6", "done slowly");
    grants_ = false;
    ExpectFailure("extension denied", "text.slow", "no more time was granted", "6");
    grants_ = true;
  }

  void ShowDeadlines() {
    board_.Headline("Deadlines and crashes");
    const std::string forgotten = Submit("text.forget", "");
    ExpectRejection("duplicate uuid", forgotten, "", QOR_AGENT_ERROR_ALREADY_KNOWN);
    ExpectRejection("uuid of another command", forgotten, "1", QOR_AGENT_ERROR_CONFLICT);
    ExpectOutcome("handler never answers", forgotten, QOR_AGENT_UNKNOWN, "");
    ExpectOutcome("handler never connects", Submit("silence.keep", ""), QOR_AGENT_NOT_DELIVERED,
                  "not connected");
    ExpectOutcome("handler killed", Submit("text.crash", ""), QOR_AGENT_UNKNOWN, "");
    ExpectInOrder();
  }

  // The handler was killed before, so the first of the three launches it.
  void ExpectInOrder() {
    std::vector<std::string> uuids;
    for (int i = 0; i < 3; ++i) uuids.push_back(Submit("text.upper", R"("x")"));
    const std::size_t before = outcomes_.size();
    tools::RunUntil([&] { return outcomes_.size() >= before + uuids.size(); }, kTimeout);
    std::string order;
    bool is_expected = outcomes_.size() == before + uuids.size();
    for (std::size_t i = before; i < outcomes_.size(); ++i) {
      order += std::string(order.empty() ? "" : ", ") + NameOf(outcomes_[i].kind);
      is_expected = is_expected && outcomes_[i].uuid == uuids[i - before] &&
                    outcomes_[i].kind == QOR_AGENT_SUCCEEDED;
    }
    board_.Line("three commands while the handler starts", order, is_expected);
  }

  void ShowRegistryChanges() {
    board_.Headline("Package events");
    ExpectUpdate("install a second handler", QOR_HANDLER_UPDATE_ADDED,
                 [this] { Install("text-preferred"); });
    ExpectSuccess("higher priority preferred", "text.upper", R"("x")", "org.example.preferred");
    ExpectUpdate("update the first package", QOR_HANDLER_UPDATE_UPDATED,
                 [this] { Install("text-2"); });
    ExpectFailure("added request type delivered", "text.translate", "no function for request type");
    ExpectNoHandler("removed request type", "text.reject");
    ExpectUpdate("uninstall the preferred handler", QOR_HANDLER_UPDATE_REMOVED,
                 [this] { Uninstall("org.example.preferred"); });
    ExpectSuccess("fallback to the other handler", "text.upper", R"("x")", "org.example.text");
    ExpectUpdate("uninstall the last handler", QOR_HANDLER_UPDATE_REMOVED,
                 [this] { Uninstall("org.example.text"); });
    ExpectNoHandler("request type without a handler", "text.upper");
    // Also terminates its process.
    Uninstall("org.example.silent");
  }

  std::string Submit(const std::string& type, const std::string& payload,
                     const std::string& uuid = "") {
    qor::Agent::Command command;
    command.uuid = uuid;
    command.type = type;
    command.payload = payload;
    command.deadline = command.timestamp + kDeadline;
    return agent_->Submit(command);
  }

  void ExpectSuccess(const std::string& step, const std::string& type, const std::string& payload,
                     const std::string& text) {
    ExpectOutcome(step, Submit(type, payload), QOR_AGENT_SUCCEEDED, text);
  }

  void ExpectFailure(const std::string& step, const std::string& type, const std::string& text,
                     const std::string& payload = "") {
    ExpectOutcome(step, Submit(type, payload), QOR_AGENT_FAILED, text);
  }

  void ExpectNoHandler(const std::string& step, const std::string& type) {
    ExpectOutcome(step, Submit(type, ""), QOR_AGENT_NOT_DELIVERED, "no handler");
  }

  void ExpectOutcome(const std::string& step, const std::string& uuid,
                     qor_agent_outcome_kind_e kind, const std::string& text) {
    const qor::Agent::Outcome* outcome = FindOutcome(uuid);
    if (outcome == nullptr) {
      board_.Line(step, "no outcome", false);
      return;
    }
    std::string actual = NameOf(outcome->kind);
    actual += NameOf(outcome->reason) + (" " + OnOneLine(outcome->result + outcome->error));
    board_.Line(step, actual, outcome->kind == kind && actual.find(text) != std::string::npos);
  }

  const qor::Agent::Outcome* FindOutcome(const std::string& uuid) const {
    const qor::Agent::Outcome* found = nullptr;
    const auto is_found = [&] {
      for (const auto& outcome : outcomes_) {
        if (outcome.uuid == uuid) found = &outcome;
      }
      return found != nullptr;
    };
    tools::RunUntil(is_found, kTimeout);
    return found;
  }

  void ExpectRejection(const std::string& step, const std::string& uuid, const std::string& payload,
                       int error) {
    int actual = QOR_AGENT_ERROR_NONE;
    try {
      Submit("text.forget", payload, uuid);
    } catch (const qor::AgentError& rejection) {
      actual = rejection.Code();
    }
    board_.Line(step, std::string("rejected: ") + qor_agent_error_text(actual), actual == error);
  }

  template <typename Change>
  void ExpectUpdate(const std::string& step, qor_handler_update_type_e type, Change change) {
    const std::size_t before = updates_.size();
    change();
    tools::RunUntil([&] { return updates_.size() > before; }, kTimeout);
    if (updates_.size() == before) {
      board_.Line(step, "no update callback", false);
      return;
    }
    const Update& update = updates_.back();
    std::string actual =
        std::string(tools::NameOf(update.type)) + " " + update.handler.app_id + ":";
    for (const auto& request_type : update.handler.request_types) actual += " " + request_type;
    board_.Line(step, actual, update.type == type);
  }

  void Install(const std::string& folder) { Package("install", packages_ + "/" + folder, folder); }
  void Uninstall(const std::string& id) { Package("uninstall", id, id); }

  void Package(const std::string& verb, const std::string& argument, const std::string& name) {
    const auto run = tools::RunProcess({tool_, "package", verb, argument}, kTimeout);
    board_.Line("qor package " + verb + " " + name,
                run.exit_status == 0 ? "done" : "failed: " + OnOneLine(run.errors),
                run.exit_status == 0);
  }

  static std::string OnOneLine(const std::string& text) {
    std::string line;
    for (const char c : text) {
      const bool space = c == '\n' || c == ' ';
      if (!space || (!line.empty() && line.back() != ' ')) line += space ? ' ' : c;
    }
    return line;
  }

  std::string tool_;
  std::string packages_;
  demo::Scoreboard board_;
  bool grants_ = true;
  std::vector<qor::Agent::Outcome> outcomes_;
  std::vector<Update> updates_;
  std::optional<qor::Agent> agent_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: " << argv[0] << " QOR_TOOL PACKAGES_FOLDER\n";
    return 2;
  }
  ecore_init();
  bool succeeded = false;
  try {
    succeeded = Demo(argv[1], argv[2]).Run();
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
  }
  ecore_shutdown();
  return succeeded ? 0 : 1;
}
