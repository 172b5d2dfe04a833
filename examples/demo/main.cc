// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Shows the whole road of commands and of registry changes with real processes: an agent (this
// program), handler applications that the platform launches, packages that the qor tool installs.
//
//   qor-demo QOR_TOOL PACKAGES_FOLDER
//
// The platform's root folder is $QOR_PLATFORM_ROOT and should be fresh.

#include <Ecore.h>

#include <exception>
#include <iostream>
#include <optional>
#include <string>

#include "agent/agent.h"
#include "agent/process.h"
#include "scoreboard.h"

namespace {

using tools::Agent;

constexpr int kExecutionTimeoutMs = 2000;
constexpr int kConnectionTimeoutMs = 4000;
// No step takes anywhere near this long.
constexpr double kPatienceSeconds = 60;

class Demo {
 public:
  Demo(std::string tool, std::string packages)
      : tool_(std::move(tool)), packages_(std::move(packages)) {}

  bool Run() {
    board_.Headline("Two handler packages are installed, then the agent starts");
    Install("text");
    Install("silent");
    agent_.emplace(kExecutionTimeoutMs, kConnectionTimeoutMs);
    board_.Line("registered handlers", std::to_string(agent_->Handlers().size()),
                agent_->Handlers().size() == 2);
    ShowCommands();
    ShowNegotiation();
    ShowTimeouts();
    ShowRegistryChanges();
    return board_.Finish();
  }

 private:
  void ShowCommands() {
    board_.Headline("Commands");
    ExpectSuccess("handler not running: launched, answers", "launch", "text.upper", R"("hello")",
                  "HELLO");
    ExpectSuccess("handler connected: answers", "connected", "text.upper", R"("again")", "AGAIN");
    ExpectFailure("handler fails the command", "reject", "text.reject", "", "this handler refuses");
    ExpectRefusal("request type that nobody serves", "unsupported", "no.such.type",
                  QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
  }

  void ShowNegotiation() {
    board_.Headline("More time");
    agent_->SetNegotiator([](const std::string&, const std::string&, double) { return true; });
    ExpectSuccess("handler asks for more time: granted", "slow-1", "text.slow", "2.5",
                  "done slowly");
    agent_->SetNegotiator([](const std::string&, const std::string&, double) { return false; });
    ExpectFailure("handler asks for more time: refused", "slow-2", "text.slow", "2.5",
                  "no more time was granted");
    agent_->SetNegotiator(nullptr);
  }

  void ShowTimeouts() {
    board_.Headline("Timeouts and a handler that dies");
    agent_->Send("forgotten", "text.forget", "");
    ExpectRefusal("the same uuid again", "forgotten", "text.forget",
                  QOR_HANDLER_MANAGER_ERROR_UNKNOWN);
    ExpectAnswer("handler never answers", "forgotten", QOR_REQUEST_STATUS_FAILED,
                 "Execution time out");
    ExpectFailure("handler never connects", "silent", "silence.keep", "", "Connection time out");
    ExpectFailure("handler killed in the middle", "killed", "text.crash", "", "Execution time out");
    ExpectInOrder();
  }

  // The handler is dead by now, so the first of the three launches it anew.
  void ExpectInOrder() {
    const std::size_t before = agent_->Responses().size();
    for (const char* uuid : {"first", "second", "third"})
      agent_->Send(uuid, "text.upper", R"("x")");
    tools::RunUntil([&] { return agent_->Responses().size() >= before + 3; }, kPatienceSeconds);
    std::string order;
    for (auto i = before; i < agent_->Responses().size(); ++i) {
      const auto& response = agent_->Responses()[i];
      order += response.uuid + (response.status == QOR_REQUEST_STATUS_SUCCESS ? " " : "(failed) ");
    }
    board_.Line("three sent while the handler starts", order, order == "first second third ");
  }

  void ShowRegistryChanges() {
    board_.Headline("Packages come and go");
    ExpectUpdate("a second handler is installed", QOR_HANDLER_UPDATE_ADDED,
                 [this] { Install("text-preferred"); });
    ExpectSuccess("the higher priority wins", "preferred", "text.upper", R"("x")",
                  "org.example.preferred");
    ExpectUpdate("the first package is updated", QOR_HANDLER_UPDATE_UPDATED,
                 [this] { Install("text-2"); });
    ExpectFailure("a new request type is served", "translate", "text.translate", "",
                  "no function for request type");
    ExpectRefusal("a dropped request type is not", "dropped", "text.reject",
                  QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
    ExpectUpdate("the preferred handler is uninstalled", QOR_HANDLER_UPDATE_REMOVED,
                 [this] { Uninstall("org.example.preferred"); });
    ExpectSuccess("the other one serves again", "fallback", "text.upper", R"("x")",
                  "org.example.text");
    ExpectUpdate("the last one is uninstalled", QOR_HANDLER_UPDATE_REMOVED,
                 [this] { Uninstall("org.example.text"); });
    ExpectRefusal("nobody serves it now", "gone", "text.upper",
                  QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
    // Ends its process too.
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
    const Agent::Response* response = agent_->WaitForResponse(uuid, kPatienceSeconds);
    if (response == nullptr) {
      board_.Line(step, "no response", false);
      return;
    }
    const std::string& saw =
        response->status == QOR_REQUEST_STATUS_SUCCESS ? response->result : response->error;
    board_.Line(step, "status " + std::to_string(response->status) + ", " + OnOneLine(saw),
                response->status == status && saw.find(text) != std::string::npos);
  }

  void ExpectRefusal(const std::string& step, const std::string& uuid, const std::string& type,
                     int error) {
    const int result = agent_->Send(uuid, type, "");
    board_.Line(step, "refused with " + std::to_string(result), result == error);
  }

  template <typename Change>
  void ExpectUpdate(const std::string& step, qor_handler_update_type_e type, Change change) {
    const std::size_t before = agent_->Updates().size();
    change();
    tools::RunUntil([&] { return agent_->Updates().size() > before; }, kPatienceSeconds);
    if (agent_->Updates().size() == before) {
      board_.Line(step, "the client was not told", false);
      return;
    }
    const auto& update = agent_->Updates().back();
    std::string saw = "update " + std::to_string(update.type) + " of " + update.app_id + ":";
    for (const auto& request_type : update.request_types) saw += " " + request_type;
    board_.Line(step, saw, update.type == type);
  }

  void Install(const std::string& folder) { Package("install", packages_ + "/" + folder, folder); }
  void Uninstall(const std::string& id) { Package("uninstall", id, id); }

  void Package(const std::string& word, const std::string& argument, const std::string& name) {
    const auto run = tools::RunProcess({tool_, "package", word, argument}, kPatienceSeconds);
    board_.Line("qor package " + word + " " + name,
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
  bool as_expected = false;
  try {
    as_expected = Demo(argv[1], argv[2]).Run();
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
  }
  ecore_shutdown();
  return as_expected ? 0 : 1;
}
