// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_APP_CONTROL_HANDLE_H_
#define PLATFORM_LINUX_APP_CONTROL_APP_CONTROL_HANDLE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// A request, made here or received.
struct app_control_s {
  std::optional<std::string> app_id;
  std::map<std::string, std::string> extra_data;
  // Of a received request only; empty when the sender could not be told any more.
  std::optional<std::string> caller;
};

namespace platform {

// The request as a raw bundle. Throws std::runtime_error when it cannot be made.
std::vector<uint8_t> EncodeRequest(const app_control_s& request);

// False for bytes that are no bundle. What is not a text in it is left out.
bool DecodeRequest(const uint8_t* bytes, size_t size, app_control_s* request);

}  // namespace platform

#endif
