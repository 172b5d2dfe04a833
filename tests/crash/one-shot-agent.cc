// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// usage: one-shot-agent UUID TYPE
// Sends one command and prints the result.

#include <chrono>
#include <iostream>

#include "plain-agent.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  support::PlainAgent agent(60'000, 60'000);
  if (agent.Send(argv[1], argv[2], "") != 0) return 1;
  const auto* response = agent.WaitForResponse(argv[1], std::chrono::seconds(60));
  if (response == nullptr) return 1;
  std::cout << response->result << response->error << '\n';
  return 0;
}
