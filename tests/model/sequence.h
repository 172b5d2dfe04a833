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

// Generates a random sequence, determined by the seed alone.
std::vector<Operation> Generate(std::uint64_t seed);

// Returns a number below `limit`.
using Choose = std::function<std::size_t(std::size_t limit)>;
// Generates a sequence from the caller's choices, such as a fuzzer's input, until exhausted.
std::vector<Operation> Generate(const Choose& choose, const std::function<bool()>& is_exhausted);

struct Mismatch {
  std::size_t step;  // index of the operation that it follows
  std::string text;
};

// Runs the operations with the library and with the model, up to the first difference. Skips
// operations that the model does not allow.
std::optional<Mismatch> Run(const std::vector<Operation>& operations);

// Removes operations as long as the rest still shows a difference.
std::vector<Operation> Shrink(std::vector<Operation> operations);

}  // namespace model

#endif
