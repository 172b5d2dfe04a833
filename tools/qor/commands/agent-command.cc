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

One JSON object a line, in and out.

Lines in:
  {"type":TYPE, "payload":ANY, "uuid":TEXT}   send a command; payload and uuid may be left out;
                                              a payload that is a string is sent as its text
  {"configuration":{"executionTimeout":MS, "connectionTimeout":MS}}   one or both
  {"negotiation":"grant"} or {"negotiation":"refuse"}                 when handlers ask for time
  {"handlers":true}                                                   list the handlers

Lines out, told apart by "event": result, late, handlers, added, removed, updated, extension,
configuration, negotiation, error, end. A line that is broken, or longer than 3 MiB, is answered
with an error that names it, and the next line is read. docs/agent-protocol.md describes them all.

At the end of the input the agent waits for the commands still pending and ends with 0;
after Ctrl-C with 130 and after SIGTERM with 143, at once. It ends with 1 when its output
is closed.)";

int RunStdioAgent() {
  // Something else would be opened in their place.
  if (fcntl(STDIN_FILENO, F_GETFD) == -1) throw ToolError(kUsage, "standard input is closed");
  if (fcntl(STDOUT_FILENO, F_GETFD) == -1) throw ToolError(kUsage, "standard output is closed");
  TakeIdentity();
  return StdioAgent().Run();
}

}  // namespace

void AddAgentCommand(CLI::App& app, Choice& choice) {
  CLI::App* agent = app.add_subcommand(
      "agent", "Take commands as JSON lines on standard input, give results on standard output");
  agent->footer(kFooter);
  agent->callback([&choice] {
    choice.json = true;
    choice.run = RunStdioAgent;
  });
}

}  // namespace tools::cli
