// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "qor/commands/commands.h"
#include "qor/commands/identity.h"
#include "qor/commands/timeout-options.h"
#include "qor/commands/validators.h"
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
  {"type":TYPE}           send a command. Optional members:
    "payload":ANY           a string is sent as its text
    "uuid":TEXT             default: random
    "timeout":MS            milliseconds until its deadline, default 60000
    "policy":TEXT           "at-most-once" (default) or "at-least-once"
    "waitForHandler":true   wait for a handler that is not installed yet
  {"confirm":UUID}        do not report the outcome of the command again
  {"negotiation":"grant"} or {"negotiation":"refuse"}   extensions from now on
  {"handlers":true}       list the handlers

Events ("event"): ready, accepted, outcome, amendment, confirmed, handlers, added, removed,
updated, exited, extension, negotiation, error, end. A request that is invalid or longer than
3 MiB is answered with an error event; the agent continues with the next line.

With --journal, commands and outcomes outlive the process: an outcome is reported at each
start until it is confirmed.

At the end of the input the agent waits for pending commands and exits with 0. On Ctrl-C it
exits at once with 130, on SIGTERM with 143. It exits with 1 when its output is closed or the
journal cannot be opened.)";

int RunStdioAgent(const StdioAgent::Options& options) {
  // The next opened file would get the closed descriptor's number.
  if (fcntl(STDIN_FILENO, F_GETFD) == -1) throw ToolError(kUsage, "standard input is closed");
  if (fcntl(STDOUT_FILENO, F_GETFD) == -1) throw ToolError(kUsage, "standard output is closed");
  TakeIdentity();
  return StdioAgent(options).Run();
}

}  // namespace

void AddAgentCommand(CLI::App& app, SelectedCommand& selected) {
  CLI::App* agent = app.add_subcommand(
      "agent", "run an agent that reads and writes JSON Lines on standard input and output");
  agent->footer(kFooter);
  const auto options = std::make_shared<StdioAgent::Options>();
  CLI::Option* journal =
      agent->add_option("--journal", options->journal, "file that keeps commands and outcomes");
  agent
      ->add_flag("--replace-damaged-journal", options->replaces_damaged_journal,
                 "set a damaged journal aside and begin a new one")
      ->needs(journal);
  agent->add_option("--window", options->window, "maximum number of commands in flight per handler")
      ->check(PositiveNumber())
      ->capture_default_str();
  AddTimeoutOptions(*agent, options->timeouts);
  agent->callback(
      [options, &selected] { selected.run = [options] { return RunStdioAgent(*options); }; });
}

}  // namespace tools::cli
