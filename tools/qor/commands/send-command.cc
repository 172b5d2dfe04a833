// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "agent/command-tracker.h"
#include "base/run-until.h"
#include "base/stop-signals.h"
#include "qor/commands/commands.h"
#include "qor/commands/identity.h"
#include "qor/commands/payload.h"
#include "qor/output/exit-codes.h"
#include "qor/output/progress-bar.h"
#include "qor/output/summary.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

constexpr char kFooter[] =
    R"(Examples:
  qor send text.upper '"hello"'
  qor send text.echo '{"n":1}' --count 100 --parallel 8
  echo '{"n":1}' | qor send text.echo -

A payload is sent unchanged; @FILE is the content of a file, - is standard input.
A payload that is not JSON causes a warning, with --strict an error.

Results are written to standard output. On a terminal, line ends, control characters and
invalid UTF-8 are escaped, unless --raw. Errors, and a summary of several commands, are
written to standard error. With --json every command writes one line to standard output:
  {"uuid":...,"outcome":...,"status":...,"result" or "error":...,"latencyMs":...}
Several commands end with the line {"summary":...}. Outcomes are success, failed,
timeout, no-answer, not-supported, launch-failed and not-accepted. A result that is
a JSON object, array, number, true, false or null is that value, any other a string.
Latencies are those of commands that a handler answered.

Exit status: 0 success, 2 usage error or a payload that cannot be read or sent,
3 the handler returned an error, 4 timeout or no answer, 5 no handler serves the type,
6 the handler could not be launched, 1 any other error; of several commands, that of the
first without success. 130 after Ctrl-C, 143 after SIGTERM.)";

struct Options {
  std::string type;
  std::string payload;
  std::string uuid;
  Timeouts timeouts;
  std::size_t count = 1;
  std::size_t parallel = 1;
  double repeat_seconds = 0;
  bool strict = false;
  bool json = false;
  bool raw = false;

  bool HasManyCommands() const { return count > 1 || repeat_seconds > 0; }
};

class Sender {
 public:
  Sender(const Options& options, std::string payload)
      : options_(options),
        payload_(std::move(payload)),
        raw_(options.raw || isatty(STDOUT_FILENO) == 0),
        bar_(options.count, options.HasManyCommands() && !options.json),
        tracker_(options.timeouts, [this](const Outcome& outcome) { OnOutcome(outcome); }) {}

  int Run() {
    SendRound();
    while (options_.repeat_seconds > 0 && !IsStopped()) {
      const double now = ecore_time_get();
      const double next = std::max(now, round_start_ + options_.repeat_seconds);
      if (!tools::RunUntil([this] { return IsStopped(); },
                           std::chrono::duration<double>(next - now)))
        SendRound();
    }
    summary_.AddInterrupted(tracker_.CountPending());
    bar_.Clear();
    if (options_.HasManyCommands() || stop_.Caught() != 0) PrintSummary();
    if (!std::cout) throw ToolError(kError, "cannot write standard output");
    return stop_.Caught() != 0 ? stop_.ExitStatus() : summary_.Code();
  }

 private:
  bool IsStopped() const { return stop_.Caught() != 0 || !std::cout; }

  void SendRound() {
    round_start_ = ecore_time_get();
    done_ = 0;
    for (std::size_t sent = 0; sent < options_.count && !IsStopped();) {
      if (tracker_.CountPending() < options_.parallel) {
        ++sent;
        tracker_.Send(options_.uuid.empty() ? tools::NewUuid() : options_.uuid, options_.type,
                      payload_);
        // Handles answers and signals, even when every command is rejected immediately.
        ecore_main_loop_iterate();
      } else {
        Await(options_.parallel);
      }
    }
    Await(1);
  }

  // Waits until fewer than `pending` commands are pending.
  void Await(std::size_t pending) {
    const auto is_done = [this, pending] {
      return IsStopped() || tracker_.CountPending() < pending;
    };
    tools::RunUntil(is_done);
  }

  void OnOutcome(const Outcome& outcome) {
    summary_.Add(outcome);
    const bool is_result = options_.json || outcome.kind == OutcomeKind::kSuccess;
    if (!is_result || isatty(STDOUT_FILENO) != 0) bar_.Clear();
    if (options_.json) {
      json::ValueWriter json;
      json.BeginObject();
      WriteMembers(json, outcome);
      std::cout << json.EndObject().Text() << std::endl;
    } else if (outcome.kind == OutcomeKind::kSuccess) {
      std::cout << (raw_ ? outcome.result : text::Printable(outcome.result)) << std::endl;
    } else {
      std::cerr << ToText(ToToolError(outcome));
    }
    bar_.Show(++done_);
  }

  void PrintSummary() const {
    if (options_.json) {
      std::cout << summary_.ToJson() << std::endl;
    } else {
      std::cerr << summary_.ToText();
    }
  }

  const Options& options_;
  const std::string payload_;
  const bool raw_;
  Summary summary_;
  ProgressBar bar_;
  std::size_t done_ = 0;
  double round_start_ = 0;
  CommandTracker tracker_;
  StopSignals stop_;
};

int Send(const Options& options) {
  if (!options.uuid.empty() && options.HasManyCommands()) {
    throw ToolError(kUsage, "--uuid cannot be used with --count or --repeat",
                    "omit it for random uuids");
  }
  TakeIdentity();
  const std::string payload = ReadPayload(options.payload, options.strict);
  return Sender(options, payload).Run();
}

}  // namespace

void AddSendCommand(CLI::App& app, SelectedCommand& selected) {
  const auto options = std::make_shared<Options>();
  CLI::App* send = app.add_subcommand("send", "send commands and print their results");
  send->footer(kFooter);
  send->add_option("TYPE", options->type, "request type")->required();
  send->add_option("PAYLOAD", options->payload, "JSON payload, @FILE or -");
  send->add_option("--uuid", options->uuid, "command uuid (default: random)");
  send->add_option("--execution-timeout", options->timeouts.execution_ms,
                   "milliseconds for the handler to answer")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  send->add_option("--connection-timeout", options->timeouts.connection_ms,
                   "milliseconds for a launched handler to connect")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  send->add_option("--count", options->count, "number of commands")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  send->add_option("--parallel", options->parallel, "maximum number of pending commands")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  send->add_option("--repeat", options->repeat_seconds,
                   "repeat every given number of seconds until interrupted")
      ->check(CLI::PositiveNumber)
      // PositiveNumber accepts NaN.
      ->check([](const std::string& text) {
        return std::string(std::isnan(std::strtod(text.c_str(), nullptr)) ? "not a number" : "");
      });
  send->add_flag("--strict", options->strict, "reject a payload that is not JSON");
  send->add_flag("--json", options->json, "print results as JSON Lines");
  send->add_flag("--raw", options->raw, "do not escape results on a terminal");
  send->callback([options, &selected] {
    selected.json = options->json;
    selected.run = [options] { return Send(*options); };
  });
}

}  // namespace tools::cli
