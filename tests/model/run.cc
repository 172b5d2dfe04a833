// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "driver.h"
#include "model.h"
#include "sequence.h"

namespace model {

std::optional<Mismatch> Run(const std::vector<Operation>& operations) {
  Driver driver;
  Model model;
  for (std::size_t i = 0; i < operations.size(); ++i) {
    if (!model.Allows(operations[i])) continue;
    const Observation expected = model.Apply(operations[i]);
    const Observation actual = driver.Apply(operations[i]);
    const std::string text = Difference(expected, actual);
    if (!text.empty()) return Mismatch{i, text};
  }
  return std::nullopt;
}

}  // namespace model
