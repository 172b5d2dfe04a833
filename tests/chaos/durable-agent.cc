// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The agent with durable commands under test. Executes the lines of its standard input until end of
// file, then waits until every command has ended:
//
//   chaos-durable-agent ACCOUNT JOURNAL
//
//   submit UUID TYPE MILLISECONDS BYTES
//   reopen
//
// Appends what it was asked for and what it reports to the account.

#include <Ecore.h>
#include <fcntl.h>
#include <qor/agent.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "effects.h"
#include "timeouts.h"

namespace {

using std::chrono::seconds;

constexpr seconds kMaxDeadline(20);
// Longer than the run's pauses, so that most commands have ended by then.
constexpr seconds kRemember(30);
constexpr std::chrono::duration<double> kPollInterval(0.2);

// A number that is the same for a uuid in every run.
std::size_t HashOf(const std::string& uuid) { return std::hash<std::string>()(uuid); }

class DurableAgent {
 public:
  DurableAgent(std::string account, std::string journal)
      : account_(std::move(account)), journal_(std::move(journal)) {
    Open();
    fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK);
    ecore_main_fd_handler_add(
        STDIN_FILENO, ECORE_FD_READ,
        [](void* self, Ecore_Fd_Handler*) -> Eina_Bool {
          return static_cast<DurableAgent*>(self)->Read() ? ECORE_CALLBACK_RENEW
                                                          : ECORE_CALLBACK_CANCEL;
        },
        this, nullptr, nullptr);
    ecore_timer_add(
        kPollInterval.count(),
        [](void* self) -> Eina_Bool {
          static_cast<DurableAgent*>(self)->Poll();
          return ECORE_CALLBACK_RENEW;
        },
        this);
  }

 private:
  void Open() {
    agent_.reset();
    qor::Agent::Settings settings;
    settings.journal = journal_;
    settings.window = 1 + static_cast<unsigned>(getpid()) % 4;
    settings.execution_timeout = chaos::kExecutionTimeout;
    settings.connection_timeout = chaos::kConnectionTimeout;
    settings.remember = kRemember;
    settings.on_outcome = [this](const qor::Agent::Outcome& outcome) { OnOutcome(outcome); };
    settings.on_log = [](const std::string& line) { std::cerr << line << std::endl; };
    try {
      agent_.emplace(std::move(settings));
    } catch (const qor::AgentError& error) {
      // For example because the disk is full; Poll() tries again.
      std::cerr << "chaos-durable-agent: " << error.what() << std::endl;
    }
  }

  void Poll() {
    if (!agent_) Open();
    if (is_draining_ && agent_ && agent_->Pending() == 0) ecore_main_loop_quit();
  }

  bool Read() {
    char bytes[4096];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof(bytes));
    is_draining_ = count == 0;
    if (count <= 0) return !is_draining_;
    input_.append(bytes, static_cast<std::size_t>(count));
    for (std::size_t end; (end = input_.find('\n')) != std::string::npos;) {
      const std::string line = input_.substr(0, end);
      input_.erase(0, end + 1);
      Do(line);
    }
    return true;
  }

  void Do(const std::string& line) {
    std::istringstream fields(line);
    std::string verb;
    qor::Agent::Command command;
    std::string milliseconds;
    int bytes = 0;
    fields >> verb >> command.uuid >> command.type >> milliseconds >> bytes;
    if (verb == "reopen") return Open();
    if (!agent_) return;
    command.payload =
        '"' + milliseconds + ' ' + std::string(static_cast<std::size_t>(bytes), 'x') + '"';
    Submit(std::move(command));
  }

  void Submit(qor::Agent::Command command) {
    const std::size_t hash = HashOf(command.uuid);
    command.policy = hash % 2 == 0 ? QOR_AGENT_AT_LEAST_ONCE : QOR_AGENT_AT_MOST_ONCE;
    command.waits_for_handler = hash % 3 == 0;
    command.deadline = std::chrono::system_clock::now() +
                       seconds(1 + hash / 8 % std::size_t(kMaxDeadline.count()));
    chaos::AppendToAccount(account_, "submit " + command.uuid + ' ' + command.type);
    int result = QOR_AGENT_ERROR_NONE;
    try {
      agent_->Submit(command);
    } catch (const qor::AgentError& error) {
      result = error.Code();
    }
    chaos::AppendToAccount(account_, "result " + command.uuid + ' ' + std::to_string(result));
  }

  void OnOutcome(const qor::Agent::Outcome& outcome) {
    chaos::AppendToAccount(account_, "outcome " + outcome.uuid + ' ' +
                                         std::to_string(outcome.kind) +
                                         (outcome.is_amendment ? " 1" : " 0"));
    // Another process confirms the others.
    const bool is_confirmed =
        is_draining_ || (HashOf(outcome.uuid) + static_cast<std::size_t>(getpid())) % 4 != 0;
    if (is_confirmed) agent_->Confirm(outcome.uuid);
  }

  const std::string account_;
  const std::string journal_;
  std::string input_;
  bool is_draining_ = false;
  std::optional<qor::Agent> agent_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: " << argv[0] << " ACCOUNT JOURNAL\n";
    return 2;
  }
  ecore_init();
  int status = 0;
  try {
    DurableAgent agent(argv[1], argv[2]);
    ecore_main_loop_begin();
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
    status = 1;
  }
  ecore_shutdown();
  return status;
}
