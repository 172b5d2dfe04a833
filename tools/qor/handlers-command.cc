// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <iostream>

#include "agent/agent.h"
#include "commands.h"
#include "exit-codes.h"
#include "identity.h"

namespace qor {

namespace {

int ListHandlers() {
  TakeIdentity();
  const tools::Agent agent(0, 0);
  for (const auto& handler : agent.Handlers()) {
    std::cout << handler.app_id;
    for (const auto& type : handler.request_types) std::cout << " " << type;
    std::cout << "\n";
  }
  return kSuccess;
}

}  // namespace

void AddHandlersCommand(CLI::App& app, Choice& choice) {
  app.add_subcommand("handlers", "List the handlers and the request types that they serve")
      ->callback([&choice] { choice.run = ListHandlers; });
}

}  // namespace qor
