// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_REPORT_H_
#define QOR_BENCH_REPORT_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/statistics.h"

namespace bench {

struct Goal {
  enum class Kind { kAtMost, kAtLeast };
  Kind kind;
  double limit;
};

inline Goal AtMost(double limit) { return {Goal::Kind::kAtMost, limit}; }
inline Goal AtLeast(double limit) { return {Goal::Kind::kAtLeast, limit}; }

// One measured value.
struct Figure {
  std::string name;
  std::string unit;  // "x" for a ratio
  Spread value;
  std::optional<Goal> goal;
  std::string detail;  // the medians of a ratio

  bool Holds() const;
};

// The ratio of two series in the same unit, computed per round.
Figure Ratio(std::string name, const Samples& dividends, const Samples& divisors,
             const std::string& unit, std::optional<Goal> goal = {});

// All figures in the order of addition.
class Report {
 public:
  using Facts = std::vector<std::pair<std::string, std::string>>;

  explicit Report(Facts facts) : facts_(std::move(facts)) {}

  // Figures and remarks are added to the latest group.
  void BeginGroup(std::string title) { groups_.push_back({std::move(title), {}, {}}); }
  void Add(Figure figure) { groups_.back().figures.push_back(std::move(figure)); }
  void AddRemark(std::string text) { groups_.back().remarks.push_back(std::move(text)); }

  // Both print to standard output.
  void PrintTable() const;
  void PrintJson() const;

 private:
  struct Group {
    std::string title;
    std::vector<Figure> figures;
    std::vector<std::string> remarks;
  };

  Facts facts_;
  std::vector<Group> groups_;
};

}  // namespace bench

#endif
