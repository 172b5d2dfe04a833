// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An idle agent. Prints resident bytes of: the files of the library and the Linux platform, the
// heap growth by their start, Ecore's files, all other libraries' files. Shared pages are counted
// in full, as on a device where no other process loads these libraries.

#include <Ecore.h>

#include <cstdio>

#include "base/run-until.h"
#include "plain-agent.h"
#include "support/memory.h"

namespace {

constexpr int kCommandTimeoutMs = 20'000;
constexpr std::chrono::milliseconds kSettleTime{500};

bool BeginsWithOneOf(const std::string& text, const std::vector<const char*>& beginnings) {
  for (const char* beginning : beginnings) {
    if (text.rfind(beginning, 0) == 0) return true;
  }
  return false;
}

struct Memory {
  double own = 0;
  double ecore = 0;
  double others = 0;
  double heap = 0;

  Memory() {
    for (const bench::Mapping& mapping : bench::Mappings()) {
      if (mapping.file.empty()) {
        heap += mapping.anonymous;
      } else if (BeginsWithOneOf(mapping.file, {"libcapi-", "libdlog.", "libbundle.",
                                                "librpc-port.", "libqor"})) {
        own += mapping.resident;
      } else if (BeginsWithOneOf(mapping.file,
                                 {"libecore", "libei", "libeo", "libefl", "libeet", "libemile"})) {
        ecore += mapping.resident;
      } else if (mapping.file.rfind("lib", 0) == 0) {
        others += mapping.resident;
      }
    }
  }
};

}  // namespace

int main() {
  ecore_init();
  const Memory before;
  const support::PlainAgent agent(kCommandTimeoutMs, kCommandTimeoutMs);
  tools::RunUntil([] { return false; }, kSettleTime);
  const Memory after;
  std::printf("%.0f %.0f %.0f %.0f\n", after.own, after.heap - before.heap, after.ecore,
              after.others);
}
