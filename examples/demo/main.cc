// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Shows the flow of commands and of registry changes with real processes: an agent (this program),
// handler applications launched by the platform, packages installed by the qor tool.
//
//   qor-demo QOR_TOOL PACKAGES_FOLDER
//
// The platform's root folder is $QOR_PLATFORM_ROOT and should be empty.

#include <Ecore.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

#include "agent/agent.h"
#include "base/process.h"
#include "base/run-until.h"
#include "scoreboard.h"

namespace {

using tools::Agent;

constexpr int kExecutionTimeoutMs = 2000;
constexpr int kConnectionTimeoutMs = 4000;
// Far above the duration of any step.
constexpr std::chrono::seconds kTimeout{60};

class Demo {
 public:
  Demo(std::string tool, std::string packages)
      : tool_(std::move(tool)), packages_(std::move(packages)) {}

  bool Run() {
    board_.Headline("Install two handler packages and start the agent");
    Install("text");
    Install("silent");
    agent_.emplace(kExecutionTimeoutMs, kConnectionTimeoutMs);
    board_.Line("registered handlers", std::to_string(tools::ListHandlers().size()),
                tools::ListHandlers().size() == 2);
    ShowCommands();
    ShowNegotiation();
    ShowTimeouts();
    ShowRegistryChanges();
    return board_.Finish();
  }

 private:
  void ShowCommands() {
    board_.Headline("Commands");
    ExpectSuccess("handler not running: launched", "launch", "text.upper", R"("hello")", "HELLO");
    ExpectSuccess("handler connected", "connected", "text.upper", R"("again")", "AGAIN");
    ExpectFailure("handler fails the command", "reject", "text.reject", "", "this handler refuses");
    ExpectRejection("unknown request type", "unsupported", "no.such.type",
                    QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
  }

  void ShowNegotiation() {
    board_.Headline("Timeout extensions");
    agent_->SetNegotiator([](const std::string&, const std::string&, double) { return true; });
    ExpectSuccess("extension granted", "slow-1", "text.slow", "2.5", "done slowly");
    agent_->SetNegotiator([](const std::string&, const std::string&, double) { return false; });
    ExpectFailure("extension denied", "slow-2", "text.slow", "2.5", "no more time was granted");
    agent_->SetNegotiator(nullptr);
  }

  void ShowTimeouts() {
    board_.Headline("Timeouts and crashes");
    agent_->Send("forgotten", "text.forget", "");
    ExpectRejection("duplicate uuid", "forgotten", "text.forget",
                    QOR_HANDLER_MANAGER_ERROR_UNKNOWN);
    ExpectAnswer("handler never answers", "forgotten", QOR_REQUEST_STATUS_FAILED,
                 "Execution time out");
    ExpectFailure("handler never connects", "silent", "silence.keep", "", "Connection time out");
    ExpectFailure("handler killed", "killed", "text.crash", "", "Execution time out");
    ExpectInOrder();
  }

  // The handler was killed before, so the first of the three launches it.
  void ExpectInOrder() {
    const std::size_t before = agent_->Responses().size();
    for (const char* uuid : {"first", "second", "third"})
      agent_->Send(uuid, "text.upper", R"("x")");
    tools::RunUntil([&] { return agent_->Responses().size() >= before + 3; }, kTimeout);
    std::string order;
    for (auto i = before; i < agent_->Responses().size(); ++i) {
      const auto& response = agent_->Responses()[i];
      order += response.uuid + (response.status == QOR_REQUEST_STATUS_SUCCESS ? " " : "(failed) ");
    }
    board_.Line("three commands while the handler starts", order, order == "first second third ");
  }

  void ShowRegistryChanges() {
    board_.Headline("Package events");
    ExpectUpdate("install a second handler", QOR_HANDLER_UPDATE_ADDED,
                 [this] { Install("text-preferred"); });
    ExpectSuccess("higher priority preferred", "preferred", "text.upper", R"("x")",
                  "org.example.preferred");
    ExpectUpdate("update the first package", QOR_HANDLER_UPDATE_UPDATED,
                 [this] { Install("text-2"); });
    ExpectFailure("added request type delivered", "translate", "text.translate", "",
                  "no function for request type");
    ExpectRejection("removed request type rejected", "dropped", "text.reject",
                    QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
    ExpectUpdate("uninstall the preferred handler", QOR_HANDLER_UPDATE_REMOVED,
                 [this] { Uninstall("org.example.preferred"); });
    ExpectSuccess("fallback to the other handler", "fallback", "text.upper", R"("x")",
                  "org.example.text");
    ExpectUpdate("uninstall the last handler", QOR_HANDLER_UPDATE_REMOVED,
                 [this] { Uninstall("org.example.text"); });
    ExpectRejection("request type without a handler", "gone", "text.upper",
                    QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
    // Also terminates its process.
    Uninstall("org.example.silent");
  }

  void ExpectSuccess(const std::string& step, const std::string& uuid, const std::string& type,
                     const std::string& payload, const std::string& text) {
    agent_->Send(uuid, type, payload);
    ExpectAnswer(step, uuid, QOR_REQUEST_STATUS_SUCCESS, text);
  }

  void ExpectFailure(const std::string& step, const std::string& uuid, const std::string& type,
                     const std::string& payload, const std::string& text) {
    agent_->Send(uuid, type, payload);
    ExpectAnswer(step, uuid, QOR_REQUEST_STATUS_FAILED, text);
  }

  void ExpectAnswer(const std::string& step, const std::string& uuid, int status,
                    const std::string& text) {
    const Agent::Response* response = FindResponse(uuid);
    if (response == nullptr) {
      board_.Line(step, "no response", false);
      return;
    }
    const std::string& actual =
        response->status == QOR_REQUEST_STATUS_SUCCESS ? response->result : response->error;
    board_.Line(step, "status " + std::to_string(response->status) + ", " + OnOneLine(actual),
                response->status == status && actual.find(text) != std::string::npos);
  }

  const Agent::Response* FindResponse(const std::string& uuid) {
    const Agent::Response* found = nullptr;
    const auto is_found = [&] {
      for (const auto& response : agent_->Responses()) {
        if (response.uuid == uuid) found = &response;
      }
      return found != nullptr;
    };
    tools::RunUntil(is_found, kTimeout);
    return found;
  }

  void ExpectRejection(const std::string& step, const std::string& uuid, const std::string& type,
                       int error) {
    const int result = agent_->Send(uuid, type, "");
    board_.Line(step, "rejected with error " + std::to_string(result), result == error);
  }

  template <typename Change>
  void ExpectUpdate(const std::string& step, qor_handler_update_type_e type, Change change) {
    const std::size_t before = agent_->Updates().size();
    change();
    tools::RunUntil([&] { return agent_->Updates().size() > before; }, kTimeout);
    if (agent_->Updates().size() == before) {
      board_.Line(step, "no update callback", false);
      return;
    }
    const auto& update = agent_->Updates().back();
    std::string actual =
        "update " + std::to_string(update.type) + " of " + update.handler.app_id + ":";
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
  std::optional<Agent> agent_;
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
