// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The agent under test. Executes the lines of its standard input until end of file:
//
//   chaos-agent HISTORY EXECUTION_TIMEOUT_MS CONNECTION_TIMEOUT_MS
//
//   send UUID TYPE MILLISECONDS BYTES
//   restart
//
// Writes the library's fired timers to the history; the recorder, which is preloaded, writes all
// other events.

#include <Ecore.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "base/handlers.h"
#include "history.h"
#include "plain-agent.h"
#include "port-interposer.h"
#include "timer-interposer.h"

namespace {

// A JSON string that begins with the handler's execution time.
std::string Payload(const std::string& milliseconds, int bytes) {
  return '"' + milliseconds + ' ' + std::string(static_cast<std::size_t>(bytes), 'x') + '"';
}

// Grants three of four extensions, the same ones in every run.
bool GrantsExtension(const std::string& uuid) { return std::hash<std::string>()(uuid) % 4 != 0; }

class Agent {
 public:
  Agent(int execution_timeout, int connection_timeout)
      : execution_timeout_(execution_timeout), connection_timeout_(connection_timeout) {
    Start();
    fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK);
    ecore_main_fd_handler_add(
        STDIN_FILENO, ECORE_FD_READ,
        [](void* self, Ecore_Fd_Handler*) -> Eina_Bool {
          static_cast<Agent*>(self)->Read();
          return ECORE_CALLBACK_RENEW;
        },
        this, nullptr, nullptr);
  }

 private:
  // Retries: the library cannot start while the disk is full.
  void Start() {
    constexpr std::chrono::duration<double> kRetryInterval(0.5);
    library_.reset();
    try {
      library_ = std::make_unique<support::PlainAgent>(execution_timeout_, connection_timeout_);
    } catch (const std::exception& error) {
      std::cerr << "chaos-agent: " << error.what() << "\n";
      ecore_timer_add(
          kRetryInterval.count(),
          [](void* self) -> Eina_Bool {
            static_cast<Agent*>(self)->Start();
            return ECORE_CALLBACK_CANCEL;
          },
          this);
      return;
    }
    library_->SetNegotiator(
        [](const std::string&, const std::string& uuid, double) { return GrantsExtension(uuid); });
    library_->SetResponseListener([](const support::PlainAgent::Response&) {});
    // Calls the library from a callback, which is allowed.
    library_->SetUpdateListener([](const support::PlainAgent::Update&) { tools::ListHandlers(); });
  }

  void Read() {
    char bytes[4096];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof(bytes));
    if (count == 0) ecore_main_loop_quit();
    if (count <= 0) return;
    input_.append(bytes, static_cast<std::size_t>(count));
    for (std::size_t end; (end = input_.find('\n')) != std::string::npos;) {
      const std::string line = input_.substr(0, end);
      input_.erase(0, end + 1);
      Do(line);
    }
  }

  void Do(const std::string& line) {
    std::istringstream fields(line);
    std::string verb;
    std::string uuid;
    std::string type;
    std::string milliseconds;
    int bytes = 0;
    fields >> verb >> uuid >> type >> milliseconds >> bytes;
    if (verb == "restart" && library_) {
      Start();
    } else if (verb == "send" && library_) {
      library_->Send(uuid, type, Payload(milliseconds, bytes));
    }
  }

  const int execution_timeout_;
  const int connection_timeout_;
  std::string input_;
  std::unique_ptr<support::PlainAgent> library_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: " << argv[0] << " JOURNAL EXECUTION_TIMEOUT CONNECTION_TIMEOUT\n";
    return 2;
  }
  try {
    const chaos::HistoryWriter history(argv[1]);
    chaos::SetTimerFiredCallback(
        [&history](int number) { history.Write(chaos::kTimerFired, std::to_string(number)); });
    chaos::SetMissingPortCallback([&history] { history.Write(chaos::kPortMissing, ""); });
    ecore_init();
    {
      Agent agent(std::atoi(argv[2]), std::atoi(argv[3]));
      ecore_main_loop_begin();
    }
    ecore_shutdown();
    chaos::SetTimerFiredCallback(nullptr);
    chaos::SetMissingPortCallback(nullptr);
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
    return 1;
  }
  return 0;
}
