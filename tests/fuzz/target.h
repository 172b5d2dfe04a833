// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FUZZ_TARGET_H_
#define TESTS_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <string>

// Runs one input of arbitrary bytes and returns 0. Defined by each target; called repeatedly in one
// process.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

// Aborts the process with the text if the condition is false, which the fuzzer reports.
void Require(bool condition, const char* text);

// A temporary folder of this process, removed at exit. Contains the platform's root folder.
const std::string& ScratchFolder();

// Writes a file below ScratchFolder(), creating its parents. Returns its path.
std::string WriteFile(const std::string& name, const std::string& content);

inline std::string TextOf(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace fuzz

#endif
