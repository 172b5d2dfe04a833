#include <Ecore.h>
#include <qor/agent.h>

#include <chrono>
#include <iostream>
#include <optional>

int main() {
  std::optional<qor::Agent> agent;
  qor::Agent::Settings settings;
  settings.journal = "agent.db";
  settings.on_outcome = [&agent](const qor::Agent::Outcome& outcome) {
    std::cout << outcome.type << ": " << outcome.result << outcome.error << '\n';
    agent->Confirm(outcome.uuid);
    if (agent->Pending() == 0) ecore_main_loop_quit();
  };
  agent.emplace(settings);

  qor::Agent::Command command;
  command.type = "text.upper";
  command.payload = "\"hello\"";
  command.deadline = std::chrono::system_clock::now() + std::chrono::minutes(1);
  agent->Submit(command);
  ecore_main_loop_begin();
}
