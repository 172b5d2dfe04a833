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

// Runs the callback before a sanitizer ends the process. Null without a sanitizer.
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace {

constexpr char kUsage[] =
    "usage: qor_model [--sequences N] [--seed S]\n"
    "  --sequences N   number of random sequences (1000)\n"
    "  --seed S        seed of the first sequence, incremented for each (1)\n";

// Reset after the last sequence: a leak check at exit must not generate a sequence from destroyed
// static objects.
std::optional<std::uint64_t> running_seed;

// A crash cannot be shrunk in this process, but its sequence can be run again.
void PrintSeed() {
  if (!running_seed) return;
  const std::string text = "\ncrash in the sequence of seed " + std::to_string(*running_seed) +
                           ":\n" + Describe(model::Generate(*running_seed));
  if (write(STDERR_FILENO, text.data(), text.size()) < 0) std::_Exit(EXIT_FAILURE);
}

void OnSignal(int signal) {
  PrintSeed();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void PrintSeedOnCrash() {
  if (__sanitizer_set_death_callback) return __sanitizer_set_death_callback(PrintSeed);
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
  std::cout << "library and model differ in the sequence of seed " << seed << ", shrunk to:\n"
            << Describe(operations) << "  after the last operation:\n"
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
  PrintSeedOnCrash();
  // The database file is written very often: keep it off the disk.
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
