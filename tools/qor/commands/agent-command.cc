// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include "qor/commands/commands.h"
#include "qor/commands/identity.h"
#include "qor/output/tool-error.h"
#include "qor/protocol/stdio-agent.h"

namespace tools::cli {

namespace {

constexpr char kFooter[] =
    R"(Example:
  echo '{"type":"text.upper","payload":"\"hello\""}' | qor agent

The protocol is JSON Lines: one JSON object per line, in both directions.
docs/agent-protocol.md describes it.

Requests:
  {"type":TYPE, "payload":ANY, "uuid":TEXT}   send a command; payload and uuid are optional;
                                              a string payload is sent as its text
  {"configuration":{"executionTimeout":MS, "connectionTimeout":MS}}   one or both
  {"negotiation":"grant"} or {"negotiation":"refuse"}                 extensions from now on
  {"handlers":true}                                                   list the handlers

Events ("event"): result, late, handlers, added, removed, updated, extension, configuration,
negotiation, error, end. A request that is invalid or longer than 3 MiB is answered with an
error event; the agent continues with the next line.

At the end of the input the agent waits for pending commands and exits with 0. On Ctrl-C it
exits at once with 130, on SIGTERM with 143. It exits with 1 when its output is closed.)";

int RunStdioAgent() {
  // The next opened file would get the closed descriptor's number.
  if (fcntl(STDIN_FILENO, F_GETFD) == -1) throw ToolError(kUsage, "standard input is closed");
  if (fcntl(STDOUT_FILENO, F_GETFD) == -1) throw ToolError(kUsage, "standard output is closed");
  TakeIdentity();
  return StdioAgent().Run();
}

}  // namespace

void AddAgentCommand(CLI::App& app, SelectedCommand& selected) {
  CLI::App* agent = app.add_subcommand(
      "agent", "run an agent that reads and writes JSON Lines on standard input and output");
  agent->footer(kFooter);
  agent->callback([&selected] {
    selected.json = true;
    selected.run = RunStdioAgent;
  });
}

}  // namespace tools::cli
