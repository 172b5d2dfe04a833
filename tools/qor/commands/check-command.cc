// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <Ecore.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "base/stop-signals.h"
#include "check/live-checks.h"
#include "check/package-checks.h"
#include "check/temporary-root.h"
#include "qor/commands/commands.h"
#include "qor/commands/payload.h"
#include "qor/commands/timeout-options.h"
#include "qor/output/check-report.h"
#include "qor/output/tool-error.h"

namespace tools::cli {

namespace {

constexpr char kFooter[] =
    R"(Without --run nothing is installed or executed. With --run the package is installed below a
temporary root folder, its handlers are launched, and a command of every request type is sent.
The checks: handlers connect, answer with JSON, give a repeated command the same answer, and
recover from a restarted agent and a killed handler. Afterwards everything is removed and
every process has exited.
The commands are real: use --skip for those that must not run on this machine.

Exit status: 0 no check failed (warnings are allowed), 1 a check failed, 2 usage error.

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

// Collects checks. Text is printed as soon as a check is added, JSON by End().
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
  throw ToolError(kUsage, option + ": request type not declared by the package: " + type,
                  "declared request types:" + declared);
}

check::LiveOptions LiveOptionsFor(const inspect::Package& package, const Options& options) {
  check::LiveOptions live{options.timeouts, {}, {options.skipped.begin(), options.skipped.end()}};
  for (const auto& type : live.skipped) RequireType(package, "--skip", type);
  for (const auto& argument : options.payloads) {
    const auto equals = argument.find('=');
    if (equals == std::string::npos) {
      throw ToolError(kUsage, "--payload " + argument + ": missing \"=\"",
                      "use TYPE=JSON or TYPE=@FILE");
    }
    const std::string type = argument.substr(0, equals);
    RequireType(package, "--payload", type);
    live.payloads[type] = ReadPayload(argument.substr(equals + 1), false);
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
  // Signals are caught, so that the temporary folders are removed in that case too.
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
        check::RunLiveChecks(
            *package, live, [&stop] { return stop.Caught() != 0; }, add);
      } catch (const check::Interrupted&) {
        return stop.ExitStatus();
      }
    } else {
      add({Check::Level::kWarn, "skipped because of failed checks", "fix those first", {}, "run"});
    }
  }
  report.End(options.path);
  return report.Code();
}

}  // namespace

void AddCheckCommand(CLI::App& app, SelectedCommand& selected) {
  const auto options = std::make_shared<Options>();
  CLI::App* check = app.add_subcommand("check", "check a handler package for errors");
  check->footer(kFooter);
  check->add_option("PACKAGE", options->path, "package folder or .tpk file")
      ->required()
      ->check(CLI::ExistingPath);
  CLI::Option* run = check->add_flag("--run", options->run, "also run the handlers");
  check
      ->add_option("--payload", options->payloads,
                   "TYPE=JSON or TYPE=@FILE: the payload of a request type (default: {})")
      ->needs(run)
      ->allow_extra_args(false);
  check->add_option("--skip", options->skipped, "TYPE: send no command of this request type")
      ->needs(run)
      ->allow_extra_args(false);
  for (CLI::Option* timeout : AddTimeoutOptions(*check, options->timeouts)) timeout->needs(run);
  check->add_flag("--json", selected.json, "print JSON");
  check->callback([options, &selected] {
    selected.run = [options, &selected] { return RunCheck(*options, selected.json); };
  });
}

}  // namespace tools::cli
