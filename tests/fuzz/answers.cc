// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler's file of stored answers, as found at start.

#include <filesystem>

#include "command-store.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qor::internal;
  const std::string path = fuzz::WriteFile("answers.db", fuzz::TextOf(data, size));
  {
    qor::AnswerLimits limits;
    limits.count = 10;
    CommandStore store(path, limits, [] { return std::int64_t{1700000000}; });
    ReceivedCommand command;
    command.agent = "org.example.agent";
    command.uuid = "uuid";
    const CommandKey key(command);
    for (const qor::Policy policy : {qor::Policy::kAtLeastOnce, qor::Policy::kAtMostOnce}) {
      store.Find(key);
      store.Begin(key, policy);
      store.Suspend(key, "state");
      store.Complete(key, policy, {true, "{}"});
      store.Find(key);
    }
  }
  for (const char* part : {"", "-wal", "-shm", "-journal", ".corrupt"})
    std::filesystem::remove(path + part);
  return 0;
}
