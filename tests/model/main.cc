// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Compares the library with the model over random sequences.

#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>

#include "sequence.h"

// Called before a sanitizer ends the process; there without one as null.
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace {

constexpr char kUsage[] =
    "usage: qor_model [--sequences N] [--seed S]\n"
    "  --sequences N   how many random sequences (1000)\n"
    "  --seed S        seed of the first; the others follow it (1)\n";

// None once all have run: what they are made from dies before the last checks of a sanitizer.
std::optional<std::uint64_t> running_seed;

// A crash cannot be shrunk, but its sequence can be run again.
void TellSeed() {
  if (!running_seed) return;
  const std::string text = "\nin the sequence of seed " + std::to_string(*running_seed) + ":\n" +
                           Describe(model::Generate(*running_seed));
  if (write(STDERR_FILENO, text.data(), text.size()) < 0) std::_Exit(EXIT_FAILURE);
}

void OnSignal(int signal) {
  TellSeed();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void TellSeedOnCrash() {
  if (__sanitizer_set_death_callback) return __sanitizer_set_death_callback(TellSeed);
  for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGSEGV}) std::signal(signal, OnSignal);
}

std::optional<std::uint64_t> ReadNumber(const char* text) {
  char* end = nullptr;
  const unsigned long long number = std::strtoull(text, &end, 10);
  if (*text < '0' || *text > '9' || *end != '\0') return std::nullopt;
  return number;
}

int Report(std::uint64_t seed) {
  const auto operations = model::Shrink(model::Generate(seed));
  const auto mismatch = model::Run(operations);
  std::cout << "The library differs from the model in the sequence of seed " << seed
            << ", shrunk to:\n"
            << Describe(operations) << "  After the last of them:\n"
            << (mismatch ? mismatch->text : "    no difference when run again\n");
  return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  std::uint64_t sequences = 1000;
  std::uint64_t first_seed = 1;
  for (int i = 1; i < argc; i += 2) {
    const auto number = i + 1 < argc ? ReadNumber(argv[i + 1]) : std::nullopt;
    const bool is_sequences = std::strcmp(argv[i], "--sequences") == 0;
    if (!number || (!is_sequences && std::strcmp(argv[i], "--seed") != 0)) {
      std::cerr << kUsage;
      return 2;
    }
    (is_sequences ? sequences : first_seed) = *number;
  }
  TellSeedOnCrash();
  // The database file is written again and again; nobody waits for a disk where memory will do.
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 0);
  std::uint64_t steps = 0;
  for (std::uint64_t i = 0; i < sequences; ++i) {
    running_seed = first_seed + i;
    const auto operations = model::Generate(*running_seed);
    steps += operations.size();
    if (model::Run(operations)) return Report(*running_seed);
  }
  running_seed.reset();
  std::cout << sequences << " sequences, " << steps << " operations: no difference\n";
  return EXIT_SUCCESS;
}
