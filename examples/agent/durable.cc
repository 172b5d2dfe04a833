// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An agent with a journal: submits one command and prints its outcome, also when it is killed in
// between and started again.
//
//   example-agent-durable JOURNAL REQUEST_TYPE PAYLOAD

#include <Ecore.h>
#include <qor/agent.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <string>

namespace {

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

void Run(const std::string& journal, const std::string& type, const std::string& payload) {
  qor::Agent* opened = nullptr;
  qor::Agent::Settings settings;
  settings.journal = journal;
  settings.on_outcome = [&opened](const qor::Agent::Outcome& outcome) {
    std::cout << outcome.type << ": " << NameOf(outcome.kind) << ' ' << outcome.result
              << outcome.error << '\n';
    // Not reported again at the next start.
    opened->Confirm(outcome.uuid);
    if (opened->Pending() == 0) ecore_main_loop_quit();
  };
  qor::Agent agent(settings);
  opened = &agent;

  qor::Agent::Command command;
  command.type = type;
  command.payload = payload;
  command.waits_for_handler = true;
  command.deadline = std::chrono::system_clock::now() + std::chrono::seconds(60);
  const std::string uuid = agent.Submit(command);
  // From here on the command is on the disk.
  std::cout << "submitted " << uuid << std::endl;
  ecore_main_loop_begin();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: " << argv[0] << " JOURNAL REQUEST_TYPE PAYLOAD\n";
    return 2;
  }
  ecore_init();
  int status = 0;
  try {
    Run(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    status = 1;
  }
  ecore_shutdown();
  return status;
}
