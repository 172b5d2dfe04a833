// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <Ecore.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "agent/command-tracker.h"
#include "agent/stop-signals.h"
#include "check/live-checks.h"
#include "check/package-checks.h"
#include "check/temporary-root.h"
#include "qor/commands/commands.h"
#include "qor/commands/payload.h"
#include "qor/output/check-report.h"
#include "qor/output/tool-error.h"

namespace tools::cli {

namespace {

constexpr char kFooter[] =
    R"(Nothing is installed and nothing is run, unless --run: that installs the package below
a temporary root folder, launches its handlers, sends a command of every request type,
and looks whether they connect, answer with JSON, answer a command that comes again the
same, and get over an agent that restarts and a handler that is killed in the middle.
The commands are real: leave out with --skip what must not happen on this machine.
In the end everything is removed again and every process has ended.

Exit status: 0 when nothing fails (warnings are no runtime_errors), 1 otherwise, 2 wrong words.

Examples:
  qor check build/packages/text
  qor check --run --skip text.crash --payload 'text.delay=2' build/packages/text)";

using check::Check;

struct Options {
  std::string path;
  bool run = false;
  std::vector<std::string> payloads;
  std::vector<std::string> skipped;
  Timeouts timeouts;
};

// The report as it grows: text is printed at once, JSON at the end.
class Report {
 public:
  explicit Report(bool as_json) : as_json_(as_json) {}

  void Add(const Check& check) {
    checks_.push_back(check);
    if (!as_json_) std::cout << ToText(check) << std::flush;
  }

  void End(const std::string& path) const {
    if (!as_json_) {
      std::cout << Count(Check::Level::kPass) << " passed, " << Count(Check::Level::kWarn)
                << " warned, " << Count(Check::Level::kFail) << " failed\n";
      return;
    }
    json::ValueWriter json;
    json.BeginObject().Member("package", path);
    WriteChecks(json.Key("checks"), checks_);
    json.Key("summary").BeginObject();
    for (const auto level : {Check::Level::kPass, Check::Level::kWarn, Check::Level::kFail}) {
      json.Member(NameOf(level), Count(level));
    }
    std::cout << json.EndObject().EndObject().Text() << "\n";
  }

  ExitCode Code() const { return ExitCodeOf(checks_); }

 private:
  int Count(Check::Level level) const {
    return static_cast<int>(
        std::count_if(checks_.begin(), checks_.end(),
                      [level](const Check& check) { return check.level == level; }));
  }

  const bool as_json_;
  check::Checks checks_;
};

void RequireType(const inspect::Package& package, const std::string& option,
                 const std::string& type) {
  std::string declared;
  for (const auto& application : package.applications) {
    if (application.request_types.count(type) != 0) return;
    for (const auto& other : application.request_types) declared += " " + other;
  }
  throw ToolError(kUsage, option + ": the package does not declare \"" + type + "\"",
                  "it declares:" + declared);
}

check::LiveOptions LiveOptionsFor(const inspect::Package& package, const Options& options) {
  check::LiveOptions live{options.timeouts, {}, {options.skipped.begin(), options.skipped.end()}};
  for (const auto& type : live.skipped) RequireType(package, "--skip", type);
  for (const auto& word : options.payloads) {
    const auto equals = word.find('=');
    if (equals == std::string::npos) {
      throw ToolError(kUsage, "--payload " + word + " names no payload",
                      "write TYPE=JSON or TYPE=@FILE");
    }
    const std::string type = word.substr(0, equals);
    RequireType(package, "--payload", type);
    live.payloads[type] = ReadPayload(word.substr(equals + 1), false);
  }
  return live;
}

class EcoreSession {
 public:
  EcoreSession() { ecore_init(); }
  EcoreSession(const EcoreSession&) = delete;
  EcoreSession& operator=(const EcoreSession&) = delete;
  ~EcoreSession() { ecore_shutdown(); }
};

int RunCheck(const Options& options, bool as_json) {
  // A signal must leave nothing behind either.
  const EcoreSession ecore;
  const StopSignals stop;
  const check::TemporaryRoot root;
  Report report(as_json);
  const check::Reporter add = [&report](const Check& check) { report.Add(check); };
  const auto package = check::CheckPackage(options.path, add);
  ecore_main_loop_iterate();
  if (stop.Caught() != 0) return stop.ExitStatus();
  if (options.run && package) {
    const check::LiveOptions live = LiveOptionsFor(*package, options);
    if (report.Code() == kSuccess) {
      try {
        check::Install(options.path);
        check::CheckAlive(
            *package, live, [&stop] { return stop.Caught() != 0; }, add);
      } catch (const check::Interrupted&) {
        return stop.ExitStatus();
      }
    } else {
      add({Check::Level::kWarn,
           "not tried, because of what failed",
           "correct that first",
           {},
           "run"});
    }
  }
  report.End(options.path);
  return report.Code();
}

}  // namespace

void AddCheckCommand(CLI::App& app, Choice& choice) {
  const auto options = std::make_shared<Options>();
  CLI::App* check = app.add_subcommand("check", "Tell what is wrong with a handler package");
  check->footer(kFooter);
  check->add_option("PACKAGE", options->path, "Package folder or .tpk file")
      ->required()
      ->check(CLI::ExistingPath);
  CLI::Option* run = check->add_flag("--run", options->run, "Try the handlers out, too");
  check
      ->add_option("--payload", options->payloads,
                   "TYPE=JSON or TYPE=@FILE: the payload of a request type (default: {})")
      ->needs(run)
      ->allow_extra_args(false);
  check->add_option("--skip", options->skipped, "TYPE: send no command of this request type")
      ->needs(run)
      ->allow_extra_args(false);
  check
      ->add_option("--execution-timeout", options->timeouts.execution_ms,
                   "Milliseconds for the handler to answer")
      ->check(CLI::PositiveNumber)
      ->needs(run)
      ->capture_default_str();
  check
      ->add_option("--connection-timeout", options->timeouts.connection_ms,
                   "Milliseconds for a launched handler to connect")
      ->check(CLI::PositiveNumber)
      ->needs(run)
      ->capture_default_str();
  check->add_flag("--json", choice.json, "Print JSON");
  check->callback([options, &choice] {
    choice.run = [options, &choice] { return RunCheck(*options, choice.json); };
  });
}

}  // namespace tools::cli
