// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <array>
#include <ctime>
#include <iomanip>
#include <map>
#include <sstream>
#include <vector>

#include "record/writers.h"
#include "text/printable.h"

namespace tools::record {

namespace {

constexpr std::int64_t kMicrosecondsPerMillisecond = 1'000;
constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;

// Longer texts are truncated; the other formats contain the whole text.
constexpr std::size_t kMaxTextSize = 120;

std::string Fixed(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

std::string Count(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// Collapses white space, so that JSON of several lines fits on one.
std::string Shown(const std::string& foreign) {
  std::string line;
  for (const char c : foreign) {
    const bool is_space = c == ' ' || c == '\t' || c == '\n' || c == '\r';
    if (!is_space || line.empty() || line.back() != ' ') line += is_space ? ' ' : c;
  }
  const std::string shown = text::Printable(line);
  if (shown.size() <= kMaxTextSize) return shown;
  std::size_t end = kMaxTextSize;
  // Do not split a UTF-8 character.
  while (end > 0 && (static_cast<unsigned char>(shown[end]) & 0xC0u) == 0x80u) --end;
  return shown.substr(0, end) + "...";
}

struct Step {
  std::int64_t time;
  std::string text;
};

std::string AnswerText(const Answer& answer) {
  if (answer.status == 0) return "success " + Shown(answer.result);
  return "failure with status " + std::to_string(answer.status) + " " + Shown(answer.error);
}

std::string EndText(const Command& command) {
  if (command.answer) return AnswerText(*command.answer);
  if (command.outcome == Outcome::kRefused) return "refused: " + ReasonOf(command.code);
  return NameOf(command.outcome);
}

std::vector<Step> StepsOf(const Command& command) {
  std::vector<Step> steps;
  if (command.accepted) steps.push_back({*command.accepted, "accepted"});
  if (command.launched) steps.push_back({*command.launched, "handler launched"});
  if (command.connected) steps.push_back({*command.connected, "handler connected"});
  for (std::size_t i = 0; i < command.delivered.size(); ++i) {
    steps.push_back({command.delivered[i], i == 0 ? "delivered" : "delivered again"});
  }
  for (const Extension& extension : command.extensions) {
    steps.push_back({extension.time, "requested " + Fixed(extension.seconds, 3) +
                                         " s: " + (extension.granted ? "granted" : "refused")});
  }
  for (const std::int64_t time : command.disconnected) {
    steps.push_back({time, "handler disconnected"});
  }
  for (const Exit& exit : command.exits)
    steps.push_back({exit.time, "handler " + Shown(exit.text)});
  std::stable_sort(steps.begin(), steps.end(),
                   [](const Step& a, const Step& b) { return a.time < b.time; });
  if (command.outcome != Outcome::kUnsolicited) steps.push_back({command.end, EndText(command)});
  for (const Answer& answer : command.late_answers) {
    steps.push_back({answer.time, "late result: " + AnswerText(answer)});
  }
  return steps;
}

std::string BeginText(const Command& command) {
  if (command.outcome == Outcome::kUnsolicited) return "first seen";
  return command.payload.empty() ? "sent" : "sent " + Shown(command.payload);
}

void WriteCommand(const Command& command, std::ostream& out) {
  out << "\n"
      << Shown(command.uuid) << "  " << (command.type.empty() ? "?" : Shown(command.type)) << "  "
      << (command.handler.empty() ? "no handler" : Shown(command.handler)) << "  "
      << NameOf(command.outcome) << " after " << FormatDuration(command.Duration());
  const char* separator = ": ";
  for (const Segment& segment : command.segments) {
    out << separator << NameOf(segment.phase) << " " << FormatDuration(segment.end - segment.begin);
    separator = ", ";
  }
  out << "\n  " << std::setw(12) << FormatDuration(command.begin) << "  " << BeginText(command)
      << "\n";
  for (const Step& step : StepsOf(command)) {
    out << "  " << std::setw(12) << "+" + FormatDuration(step.time - command.begin) << "  "
        << step.text << "\n";
  }
}

}  // namespace

std::string FormatDuration(std::int64_t microseconds) {
  if (microseconds < kMicrosecondsPerMillisecond) return std::to_string(microseconds) + " us";
  if (microseconds < kMicrosecondsPerSecond) {
    return Fixed(static_cast<double>(microseconds) / kMicrosecondsPerMillisecond, 1) + " ms";
  }
  return Fixed(static_cast<double>(microseconds) / kMicrosecondsPerSecond, 3) + " s";
}

std::string FormatWallTime(std::int64_t microseconds) {
  const std::int64_t whole_seconds = microseconds / kMicrosecondsPerSecond;
  const auto seconds = static_cast<std::time_t>(whole_seconds);
  // A 32-bit time_t overflows in 2038.
  if (microseconds == 0 || seconds != whole_seconds) return {};
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::ostringstream text;
  text << std::put_time(&parts, "%Y-%m-%d %H:%M:%S") << "." << std::setfill('0') << std::setw(3)
       << microseconds % kMicrosecondsPerSecond / kMicrosecondsPerMillisecond << " UTC";
  return text.str();
}

void WriteText(const Record& record, std::ostream& out) {
  if (record.wall != 0) out << FormatWallTime(record.wall) << ", ";
  out << FormatDuration(record.duration) << ": " << Count(record.commands.size(), "command") << ", "
      << Count(record.handlers.size(), "handler") << "\n";
  std::map<Outcome, std::size_t> counts;
  std::size_t late = 0;
  for (const Command& command : record.commands) {
    ++counts[command.outcome];
    late += command.late_answers.size();
    WriteCommand(command, out);
  }
  if (!counts.empty()) out << "\n";
  for (const auto& [outcome, count] : counts) {
    out << std::setw(6) << count << "  " << NameOf(outcome) << "\n";
  }
  std::size_t exits = 0;
  for (const Handler& handler : record.handlers) exits += handler.exits.size();
  if (late > 0) out << std::setw(6) << late << "  late result" << (late == 1 ? "" : "s") << "\n";
  if (exits > 0)
    out << std::setw(6) << exits << "  handler exit" << (exits == 1 ? "" : "s") << "\n";
}

}  // namespace tools::record
