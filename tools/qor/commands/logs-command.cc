// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cctype>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "base/run-until.h"
#include "base/stop-signals.h"
#include "platform/linux/common/application-log.h"
#include "platform/linux/common/ids.h"
#include "platform/linux/common/package-database.h"
#include "qor/commands/commands.h"
#include "qor/logs/last-end.h"
#include "qor/logs/log-reader.h"
#include "qor/output/exit-codes.h"
#include "qor/output/standard-output.h"
#include "qor/output/tool-error.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

namespace fs = std::filesystem;

// How often --follow looks for new lines.
constexpr std::chrono::milliseconds kPollInterval{100};

struct Options {
  std::string handler;
  std::string since;
  bool follow = false;
};

std::uintmax_t SizeOf(const std::string& path) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  return error ? 0 : size;
}

void PrintLogs() {
  for (const std::string& app_id : platform::ApplicationsWithLogs()) {
    const std::string log = platform::LogOf(app_id);
    std::cout << app_id << " " << SizeOf(log) + SizeOf(log + platform::kRotatedSuffix) << " bytes";
    if (const auto end = platform::FindLastEnd(app_id))
      std::cout << ", last process " << DescribeWithAge(*end);
    std::cout << "\n";
  }
}

// Lines of the log begin with a time in this form, so that texts can be compared.
std::string LogTime(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%FT%T", &parts)};
}

// Returns the beginning of the first lines to print, from "10m" or a time such as
// "2026-11-22T23:16".
std::string FirstTime(const std::string& since) {
  if (since.empty()) return {};
  std::size_t digits = 0;
  while (digits < since.size() && std::isdigit(static_cast<unsigned char>(since[digits])) != 0)
    ++digits;
  constexpr std::string_view kUnits = "smhd";
  constexpr int kSeconds[] = {1, 60, 60 * 60, 24 * 60 * 60};
  constexpr std::size_t kMaxDigits = 8;
  if (digits > 0 && digits <= kMaxDigits && digits + 1 == since.size()) {
    if (const std::size_t unit = kUnits.find(since.back()); unit != std::string_view::npos) {
      return LogTime(std::chrono::system_clock::now() -
                     std::chrono::seconds(std::stoll(since) * kSeconds[unit]));
    }
  }
  std::tm parts{};
  if (strptime(since.c_str(), "%Y-%m-%d", &parts) != nullptr && digits == 4) return since;
  throw ToolError(
      kUsage, "invalid time \"" + text::Printable(since) + "\"",
      "write a number with s, m, h or d, such as 10m, or a UTC time as in the log, such "
      "as " +
          LogTime(std::chrono::system_clock::now()));
}

void RequireLog(const std::string& app_id) {
  if (platform::IsApplicationId(app_id) &&
      (platform::FindApplication(app_id) || fs::exists(platform::LogOf(app_id))))
    return;
  throw ToolError(kError, "no application " + text::Printable(app_id),
                  "\"qor logs\" lists the applications that have logs");
}

// Prints the log; with --follow, also what is added until a signal arrives.
int PrintLog(const Options& options) {
  RequireLog(options.handler);
  const std::string first = FirstTime(options.since);
  const bool is_terminal = isatty(STDOUT_FILENO) != 0;
  const auto print = [&](const std::string& line) {
    if (line.compare(0, first.size(), first) < 0) return;
    std::cout << (is_terminal ? text::Printable(line) : line) << "\n";
  };
  LogReader reader(options.handler);
  reader.ReadLines(print);
  FlushStandardOutput();
  if (!options.follow) return kSuccess;
  ecore_init();
  const StopSignals stop;
  const auto is_stopped = [&stop] { return stop.Caught() != 0; };
  while (!tools::RunUntil(is_stopped, kPollInterval)) {
    reader.ReadLines(print);
    FlushStandardOutput();
  }
  return stop.ExitStatus();
}

int RunLogs(const Options& options) {
  if (!options.handler.empty()) return PrintLog(options);
  if (options.follow || !options.since.empty())
    throw ToolError(kUsage, "--follow and --since need a handler", "qor logs HANDLER --follow");
  PrintLogs();
  return kSuccess;
}

}  // namespace

void AddLogsCommand(CLI::App& app, SelectedCommand& selected) {
  CLI::App* logs = app.add_subcommand("logs", "print what a handler has written, or list the logs");
  logs->footer(
      "Without HANDLER, prints a line for each handler that was launched: the size of its\n"
      "log and how its last process ended. A line of a log begins with its time (UTC) and\n"
      "the process id. On a terminal, control characters and invalid UTF-8 are escaped.\n"
      "\n"
      "Example:\n"
      "  qor logs");
  const auto options = std::make_shared<Options>();
  logs->add_option("HANDLER", options->handler, "application id of the handler");
  logs->add_flag("--follow", options->follow, "then print new lines until interrupted");
  logs->add_option("--since", options->since,
                   "only lines from this time on: 10m, 2h, or as in the log");
  logs->callback([options, &selected] { selected.run = [options] { return RunLogs(*options); }; });
}

}  // namespace tools::cli
