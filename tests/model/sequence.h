// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_SEQUENCE_H_
#define TESTS_MODEL_SEQUENCE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "operation.h"

namespace model {

// A random sequence; the seed alone decides it.
std::vector<Operation> Generate(std::uint64_t seed);

// A choice out of so many.
using Choose = std::function<std::size_t(std::size_t limit)>;
// A sequence that somebody else's choices decide, until these are over.
std::vector<Operation> Generate(const Choose& choose, const std::function<bool()>& is_over);

struct Mismatch {
  size_t step;  // index of the operation after which it was seen
  std::string text;
};

// Runs the operations with the library and with the model, up to the first difference. An
// operation that the world cannot do at its turn is passed over.
std::optional<Mismatch> Run(const std::vector<Operation>& operations);

// A short part of the sequence that still shows a difference.
std::vector<Operation> Shrink(std::vector<Operation> operations);

}  // namespace model

#endif
