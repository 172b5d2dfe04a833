// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/connected-processes.h"

#include <map>

namespace platform {
namespace {

std::map<pid_t, bool>& Launched() {
  // Never destroyed: destructors of static objects may launch applications.
  static auto* const launched = new std::map<pid_t, bool>;
  return *launched;
}

}  // namespace

void AwaitConnectionOf(pid_t pid) { Launched()[pid] = false; }

void SetConnected(pid_t pid) {
  const auto found = Launched().find(pid);
  if (found != Launched().end()) found->second = true;
}

bool TakeConnected(pid_t pid) {
  const auto found = Launched().find(pid);
  if (found == Launched().end()) return false;
  const bool has_connected = found->second;
  Launched().erase(found);
  return has_connected;
}

}  // namespace platform
