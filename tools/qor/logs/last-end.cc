// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/logs/last-end.h"

#include <algorithm>
#include <chrono>

#include "text/printable.h"

namespace tools::cli {

namespace {

std::string Age(std::chrono::system_clock::time_point time) {
  const auto age = std::chrono::system_clock::now() - time;
  const auto seconds =
      std::max<long long>(0, std::chrono::duration_cast<std::chrono::seconds>(age).count());
  constexpr long long kMinute = 60;
  constexpr long long kHour = 60 * kMinute;
  constexpr long long kDay = 24 * kHour;
  if (seconds < 2 * kMinute) return std::to_string(seconds) + " s";
  if (seconds < 2 * kHour) return std::to_string(seconds / kMinute) + " min";
  if (seconds < 2 * kDay) return std::to_string(seconds / kHour) + " h";
  return std::to_string(seconds / kDay) + " days";
}

}  // namespace

std::string DescribeWithAge(const platform::ProcessEnd& end) {
  return text::Printable(Describe(end)) + " (" + Age(end.time) + " ago)";
}

std::optional<platform::ProcessEnd> FindLastFailure(const std::string& app_id) {
  auto end = platform::FindLastEnd(app_id);
  if (end && end->kind == platform::ProcessEnd::Kind::kExited && end->number == 0) end.reset();
  return end;
}

}  // namespace tools::cli
