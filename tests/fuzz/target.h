// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FUZZ_TARGET_H_
#define TESTS_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <string>

// Serves one input, whatever its bytes are, and returns 0. Called again and again in one process;
// each target defines it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

// Ends the process with the text when something that must be so is not: a finding.
void Require(bool is_so, const char* text);

// A folder of this process's own, which goes with it. The platform's root lies below it.
const std::string& ScratchFolder();

// Writes a file of ScratchFolder(), and the folders that lead to it. Returns its path.
std::string WriteFile(const std::string& name, const std::string& content);

inline std::string TextOf(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace fuzz

#endif
