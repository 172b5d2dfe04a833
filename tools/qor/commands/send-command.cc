// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "base/run-until.h"
#include "base/stop-signals.h"
#include "base/timeouts.h"
#include "inspect/explanation.h"
#include "qor/agent/open-agent.h"
#include "qor/commands/commands.h"
#include "qor/commands/identity.h"
#include "qor/commands/payload.h"
#include "qor/commands/timeout-options.h"
#include "qor/commands/validators.h"
#include "qor/logs/live-log.h"
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
  {"uuid":...,"outcome":...,"reason":...,"status":...,"result" or "error":...,"latencyMs":...}
Several commands end with the line {"summary":...}. Outcomes are succeeded, failed,
not-delivered (reason no-handler, launch-failed, handler-exited, not-connected or not-sent),
unknown (no answer by the deadline) and rejected (with the reason). A result that is a JSON
object, array, number, true, false or null is that value, any other a string. The summary
has the latencies of commands that a handler answered.

When the process of a launched handler ends, how it ended is printed at once. One command
without --deadline ends with it (handler-exited) if the handler had not connected.

Until its deadline a command that was not delivered is sent again. One that may have been
delivered is sent again, with the same uuid, only with --policy at-least-once.

Exit status: 0 success, 2 usage error or a payload that cannot be read or sent,
3 the handler returned an error, 4 not connected or no answer, 5 no handler serves the type,
6 the handler could not be launched, or exited before it connected, 1 any other error; of
several commands, that of the first without success. 130 after Ctrl-C, 143 after SIGTERM.)";

// 30 years: longer than any use, and far from an overflow of a sum of times.
constexpr double kMaxSeconds = 1e9;

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

struct Options {
  std::string type;
  std::string payload;
  std::string uuid;
  Timeouts timeouts;
  std::size_t count = 1;
  unsigned parallel = 1;
  // 0 for once.
  Seconds repeat{0};
  // 0 for both timeouts.
  Seconds deadline{0};
  qor_agent_policy_e policy = QOR_AGENT_AT_MOST_ONCE;
  bool shows_log = false;
  bool strict = false;
  bool json = false;
  bool raw = false;

  bool HasManyCommands() const { return count > 1 || repeat.count() > 0; }
};

class Sender {
 public:
  Sender(const Options& options, std::string payload)
      : options_(options),
        payload_(std::move(payload)),
        raw_(options.raw || isatty(STDOUT_FILENO) == 0),
        bar_(options.count, options.HasManyCommands() && !options.json),
        agent_(OpenAgent(AgentSettings())),
        handler_ends_([this](const HandlerEnd& end) { OnHandlerEnd(end); }) {
    if (!options.shows_log) return;
    const auto handlers = inspect::Explain(inspect::InspectInstalledPackages(), options.type);
    if (!handlers.candidates.empty()) log_.emplace(handlers.candidates.front().record.id);
  }

  int Run() {
    SendRound();
    while (options_.repeat.count() > 0 && !IsStopped()) {
      const Seconds wait = round_start_ + options_.repeat - Clock::now();
      if (!RunUntil([this] { return IsStopped(); }, std::max(wait, Seconds(0)))) SendRound();
    }
    summary_.AddInterrupted(sent_.size());
    bar_.Clear();
    log_.reset();
    if (options_.HasManyCommands() || stop_.Caught() != 0) PrintSummary();
    return stop_.Caught() != 0 ? stop_.ExitStatus() : summary_.Code();
  }

 private:
  qor::Agent::Settings AgentSettings() {
    qor::Agent::Settings settings;
    settings.window = options_.parallel;
    settings.execution_timeout = options_.timeouts.execution;
    settings.connection_timeout = options_.timeouts.connection;
    // No uuid comes twice, and --parallel limits what is pending.
    settings.remember = std::chrono::milliseconds(1);
    settings.max_commands = std::numeric_limits<unsigned>::max();
    settings.max_bytes = std::numeric_limits<std::uint64_t>::max();
    settings.on_extension = [](const std::string&, const std::string&, double) { return true; };
    settings.on_outcome = [this](const qor::Agent::Outcome& outcome) { OnOutcome(outcome); };
    return settings;
  }

  bool IsStopped() const { return stop_.Caught() != 0 || !std::cout; }

  void SendRound() {
    round_start_ = Clock::now();
    done_ = 0;
    for (std::size_t sent = 0; sent < options_.count && !IsStopped();) {
      if (sent_.size() < options_.parallel) {
        ++sent;
        SendCommand();
        // Handles answers and signals, even when every command is rejected immediately.
        ecore_main_loop_iterate();
      } else {
        AwaitLessThan(options_.parallel);
      }
    }
    AwaitLessThan(1);
  }

  void AwaitLessThan(std::size_t pending) {
    RunUntil([this, pending] { return IsStopped() || sent_.size() < pending; });
  }

  void SendCommand() {
    qor::Agent::Command command;
    command.uuid = options_.uuid.empty() ? qor::Agent::NewUuid() : options_.uuid;
    command.type = options_.type;
    command.payload = payload_;
    command.policy = options_.policy;
    const Seconds timeout =
        options_.deadline.count() > 0 ? options_.deadline : Seconds(options_.timeouts.Total());
    command.deadline =
        command.timestamp + std::chrono::duration_cast<qor::Agent::WallClock::duration>(timeout);
    const auto now = Clock::now();
    try {
      agent_->Submit(command);
      sent_[command.uuid] = now;
    } catch (const qor::AgentError& error) {
      CommandResult result;
      result.outcome.uuid = command.uuid;
      result.outcome.type = command.type;
      result.rejection = error.Code();
      Report(result);
    }
  }

  void OnOutcome(const qor::Agent::Outcome& outcome) {
    agent_->Confirm(outcome.uuid);
    const auto sent = sent_.find(outcome.uuid);
    // An answer after the deadline.
    if (sent == sent_.end()) return;
    CommandResult result;
    result.outcome = outcome;
    result.latency = Clock::now() - sent->second;
    sent_.erase(sent);
    Report(result);
  }

  // Does not wait for a timeout when the only command certainly was not delivered. With a deadline
  // the library launches the handler again, and other commands may have launched it again.
  void OnHandlerEnd(const HandlerEnd& end) {
    if (sent_.empty()) return;
    if (end.has_connected || options_.HasManyCommands() || options_.deadline.count() > 0) {
      if (end.is_success) return;
      bar_.Clear();
      std::cerr << "qor: " << text::Printable(Describe(end)) << std::endl;
      return;
    }
    const auto sent = sent_.begin();
    CommandResult result;
    result.outcome.uuid = sent->first;
    result.outcome.type = options_.type;
    result.outcome.kind = QOR_AGENT_NOT_DELIVERED;
    result.handler_end = end;
    result.latency = Clock::now() - sent->second;
    sent_.erase(sent);
    Report(result);
  }

  void Report(const CommandResult& result) {
    summary_.Add(result);
    const bool is_result = options_.json || result.IsSuccess();
    if (!is_result || isatty(STDOUT_FILENO) != 0) bar_.Clear();
    if (options_.json) {
      json::ValueWriter json;
      json.BeginObject();
      WriteMembers(json, result);
      std::cout << json.EndObject().Text() << std::endl;
    } else if (result.IsSuccess()) {
      const std::string& text = result.outcome.result;
      std::cout << (raw_ ? text : text::Printable(text)) << std::endl;
    } else {
      std::cerr << ToText(ToToolError(result));
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
  Clock::time_point round_start_;
  std::unordered_map<std::string, Clock::time_point> sent_;  // by uuid, until the outcome
  const std::unique_ptr<qor::Agent> agent_;
  const HandlerEnds handler_ends_;
  std::optional<LiveLog> log_;
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

void AddSeconds(CLI::App& command, const std::string& name, Seconds& value,
                const std::string& description) {
  command
      .add_option_function<double>(
          name, [&value](double seconds) { value = Seconds(seconds); }, description)
      // Also rejects NaN.
      ->check([](const std::string& text) {
        const double seconds = std::strtod(text.c_str(), nullptr);
        return std::string(seconds > 0 && seconds <= kMaxSeconds
                               ? ""
                               : "not a number above 0 and up to 1000000000: " + text);
      });
}

}  // namespace

void AddSendCommand(CLI::App& app, SelectedCommand& selected) {
  const auto options = std::make_shared<Options>();
  CLI::App* send = app.add_subcommand("send", "send commands and print their results");
  send->footer(kFooter);
  send->add_option("TYPE", options->type, "request type")->required();
  send->add_option("PAYLOAD", options->payload, "JSON payload, @FILE or -");
  send->add_option("--uuid", options->uuid, "command uuid (default: random)");
  AddSeconds(*send, "--deadline", options->deadline,
             "seconds until a command ends at the latest (default: both timeouts)");
  AddTimeoutOptions(*send, options->timeouts);
  send->add_option_function<std::string>(
          "--policy",
          [options](const std::string& name) {
            options->policy =
                name == "at-least-once" ? QOR_AGENT_AT_LEAST_ONCE : QOR_AGENT_AT_MOST_ONCE;
          },
          "whether to send again what may have been delivered")
      ->check(CLI::IsMember({"at-most-once", "at-least-once"}))
      ->default_str("at-most-once");
  send->add_option("--count", options->count, "number of commands")
      ->check(PositiveNumber())
      ->capture_default_str();
  send->add_option("--parallel", options->parallel, "maximum number of pending commands")
      ->check(PositiveNumber())
      ->capture_default_str();
  AddSeconds(*send, "--repeat", options->repeat,
             "repeat every given number of seconds until interrupted");
  send->add_flag("--log", options->shows_log,
                 "print what the handler writes meanwhile to standard error");
  send->add_flag("--strict", options->strict, "reject a payload that is not JSON");
  send->add_flag("--json", options->json, "print results as JSON Lines");
  send->add_flag("--raw", options->raw, "do not escape results on a terminal");
  send->callback([options, &selected] {
    selected.json = options->json;
    selected.run = [options] { return Send(*options); };
  });
}

}  // namespace tools::cli
