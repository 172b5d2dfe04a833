// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/summary.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string_view>

namespace tools::cli {

void Summary::Add(const CommandResult& result) {
  ++counts_[NameOf(result)];
  if (code_ == kSuccess) code_ = ExitCodeOf(result);
  if (result.HasAnswer() && result.latency) latencies_ms_.push_back(result.latency->count());
}

std::size_t Summary::CountCommands() const {
  std::size_t commands = interrupted_;
  for (const auto& [name, count] : counts_) commands += count;
  return commands;
}

Summary::Latencies Summary::Measure() const {
  std::vector<double> sorted = latencies_ms_;
  std::sort(sorted.begin(), sorted.end());
  // Nearest-rank percentile.
  const auto percentile = [&sorted](std::size_t percent) {
    return sorted[(sorted.size() * percent + 99) / 100 - 1];
  };
  return {sorted.front(), percentile(50), percentile(90), percentile(99), sorted.back()};
}

std::string Summary::ToText() const {
  std::ostringstream text;
  text << CountCommands() << (CountCommands() == 1 ? " command" : " commands");
  const char* separator = ": ";
  const auto part = [&](std::size_t count, std::string_view name) {
    text << separator << count << " " << name;
    separator = ", ";
  };
  for (const auto& [name, count] : counts_) part(count, name);
  if (interrupted_ != 0) part(interrupted_, "interrupted");
  text << "\n";
  if (latencies_ms_.empty()) return text.str();
  const Latencies ms = Measure();
  text << std::fixed << std::setprecision(3) << "latency in ms: min " << ms.min << ", median "
       << ms.median << ", p90 " << ms.p90 << ", p99 " << ms.p99 << ", max " << ms.max << "\n";
  return text.str();
}

std::string Summary::ToJson() const {
  const auto number = [](std::size_t count) { return static_cast<std::int64_t>(count); };
  json::ValueWriter json;
  json.BeginObject().Key("summary").BeginObject().Member("commands", number(CountCommands()));
  json.Key("outcomes").BeginObject();
  for (const auto& [name, count] : counts_) json.Member(name, number(count));
  if (interrupted_ != 0) json.Member("interrupted", number(interrupted_));
  json.EndObject();
  if (!latencies_ms_.empty()) {
    const Latencies ms = Measure();
    json.Key("latencyMs").BeginObject();
    json.Member("answers", number(latencies_ms_.size())).Member("min", ms.min);
    json.Member("median", ms.median).Member("p90", ms.p90).Member("p99", ms.p99);
    json.Member("max", ms.max).EndObject();
  }
  json.EndObject().EndObject();
  return json.Text();
}

}  // namespace tools::cli
