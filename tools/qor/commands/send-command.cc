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
#include "agent/stop-signals.h"
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

A payload is taken as it is; @FILE stands for the file's content and - for standard input.
One that is not JSON is warned of, unless --strict.

Results go to standard output, on a terminal with line ends, control characters and
bytes that are no UTF-8 escaped, unless --raw; errors, and for more than one command a summary,
to standard error. With --json every command gives one line on standard output:
  {"uuid":...,"outcome":...,"status":...,"result" or "error":...,"latencyMs":...}
and, for more than one, the last line is {"summary":...}. Outcomes are success, failed,
timeout, no-answer, not-supported, launch-failed and not-accepted; a result that is
a JSON object, array, number, true, false or null stands there as such, any other as
a string. Latencies are those of the commands that a handler answered.

Exit status: 0 success, 2 wrong words or a payload that cannot be read or sent,
3 the handler failed the command, 4 timeout or no answer, 5 nobody serves the type,
6 the handler could not be launched, 1 anything else; for more than one command that
of the first that was no success. 130 after Ctrl-C, 143 after SIGTERM.)";

// A wait without a limit is made of these.
constexpr double kHourSeconds = 3600;

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

  bool IsMany() const { return count > 1 || repeat_seconds > 0; }
};

class Sending {
 public:
  Sending(const Options& options, std::string payload)
      : options_(options),
        payload_(std::move(payload)),
        raw_(options.raw || isatty(STDOUT_FILENO) == 0),
        bar_(options.count, options.IsMany() && !options.json),
        tracker_(options.timeouts, [this](const Outcome& outcome) { OnOutcome(outcome); }) {}

  int Run() {
    SendRound();
    while (options_.repeat_seconds > 0 && !IsStopped()) {
      const double now = ecore_time_get();
      const double next = std::max(now, round_start_ + options_.repeat_seconds);
      if (!tools::RunUntil([this] { return IsStopped(); }, next - now)) SendRound();
    }
    summary_.AddInterrupted(tracker_.CountPending());
    bar_.Clear();
    if (options_.IsMany() || stop_.Caught() != 0) PrintSummary();
    if (!std::cout) throw ToolError(kError, "standard output cannot be written");
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
        // Answers and signals get their turn, also when every command is refused at once.
        ecore_main_loop_iterate();
      } else {
        Await(options_.parallel);
      }
    }
    Await(1);
  }

  // Until fewer than so many are pending.
  void Await(std::size_t pending) {
    const auto enough = [this, pending] {
      return IsStopped() || tracker_.CountPending() < pending;
    };
    while (!tools::RunUntil(enough, kHourSeconds)) {
    }
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
  if (!options.uuid.empty() && options.IsMany()) {
    throw ToolError(kUsage, "--uuid names one command, and there would be several of that name",
                    "Leave it out; every command then gets a random one.");
  }
  TakeIdentity();
  const std::string payload = ReadPayload(options.payload, options.strict);
  return Sending(options, payload).Run();
}

}  // namespace

void AddSendCommand(CLI::App& app, Choice& choice) {
  const auto options = std::make_shared<Options>();
  CLI::App* send = app.add_subcommand("send", "Send commands and print their results");
  send->footer(kFooter);
  send->add_option("TYPE", options->type, "Request type")->required();
  send->add_option("PAYLOAD", options->payload, "JSON payload, @FILE or -");
  send->add_option("--uuid", options->uuid, "Command uuid (default: a random one)");
  send->add_option("--execution-timeout", options->timeouts.execution_ms,
                   "Milliseconds for the handler to answer")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  send->add_option("--connection-timeout", options->timeouts.connection_ms,
                   "Milliseconds for a launched handler to connect")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  send->add_option("--count", options->count, "How many commands to send in all")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  send->add_option("--parallel", options->parallel, "How many may be pending at once")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  send->add_option("--repeat", options->repeat_seconds,
                   "Send all of it again every so many seconds, until interrupted")
      ->check(CLI::PositiveNumber)
      // The check for a positive number admits NaN, which no comparison excludes.
      ->check([](const std::string& text) {
        return std::string(std::isnan(std::strtod(text.c_str(), nullptr)) ? "not a number" : "");
      });
  send->add_flag("--strict", options->strict, "Refuse a payload that is not JSON");
  send->add_flag("--json", options->json, "Print results as JSON lines");
  send->add_flag("--raw", options->raw, "Write results as they are, on a terminal too");
  send->callback([options, &choice] {
    choice.json = options->json;
    choice.run = [options] { return Send(*options); };
  });
}

}  // namespace tools::cli
