// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Sessions of client, handlers, packages and clock, compared with the model of the router.

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "input.h"
#include "sequence.h"
#include "target.h"

namespace {

[[noreturn]] void Report(const std::vector<model::Operation>& operations) {
  const auto fewer = model::Shrink(operations);
  const auto mismatch = model::Run(fewer);
  std::cerr << "The library differs from the model after\n"
            << model::Describe(fewer)
            << (mismatch ? mismatch->text : "once, but not in a second run\n");
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::ScratchFolder();
  // Longer sessions are slow and reach no new code.
  constexpr size_t kMaxSize = 1000;
  fuzz::Input input(data, std::min(size, kMaxSize));
  const auto operations = model::Generate([&](size_t limit) { return input.Below(limit); },
                                          [&] { return input.IsOver(); });
  if (model::Run(operations)) Report(operations);
  return 0;
}
