// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "report.h"

#include <cstdio>

namespace bench {

namespace {

std::string Format(const char* format, double number) {
  char text[32];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

std::string Rounded(double number) {
  return Format(number < 10 && number > -10 ? "%.2f" : "%.0f", number);
}

std::string TextOf(const Goal& goal) {
  return (goal.kind == Goal::Kind::kAtMost ? "<= " : ">= ") + Format("%.4g", goal.limit);
}

}  // namespace

bool Figure::Holds() const {
  if (!goal) return true;
  return goal->kind == Goal::Kind::kAtMost ? value.median <= goal->limit
                                           : value.median >= goal->limit;
}

Figure Ratio(std::string name, const Samples& dividends, const Samples& divisors,
             const std::string& unit, std::optional<Goal> goal) {
  return {std::move(name), "x", SpreadOf(Quotients(dividends, divisors)), goal,
          Rounded(Median(dividends)) + " : " + Rounded(Median(divisors)) + " " + unit};
}

void Report::PrintTable() const {
  for (const auto& [name, value] : facts_) std::printf("%-12s %s\n", name.c_str(), value.c_str());
  int goals = 0;
  int met = 0;
  for (const Group& group : groups_) {
    std::printf("\n%-52s%9s%9s%9s %-4s %-10s%s\n", group.title.c_str(), "median", "p10", "p90", "",
                "goal", "met");
    for (const Figure& figure : group.figures) {
      std::printf("  %-50s%9s%9s%9s %-4s %-10s%-6s %s\n", figure.name.c_str(),
                  Rounded(figure.value.median).c_str(), Rounded(figure.value.p10).c_str(),
                  Rounded(figure.value.p90).c_str(), figure.unit.c_str(),
                  figure.goal ? TextOf(*figure.goal).c_str() : "-",
                  !figure.goal     ? "-"
                  : figure.Holds() ? "yes"
                                   : "NO",
                  figure.detail.c_str());
      if (figure.goal) ++goals;
      if (figure.goal && figure.Holds()) ++met;
    }
    for (const std::string& remark : group.remarks) std::printf("  %s\n", remark.c_str());
  }
  std::printf("\n%d of %d goals met\n", met, goals);
}

}  // namespace bench
