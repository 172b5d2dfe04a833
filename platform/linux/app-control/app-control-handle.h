// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_APP_CONTROL_HANDLE_H_
#define PLATFORM_LINUX_APP_CONTROL_APP_CONTROL_HANDLE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// A launch request, created by this process or received from another.
struct app_control_s {
  std::optional<std::string> app_id;
  std::map<std::string, std::string> extra_data;
  // Set for received requests; empty when the sender could not be identified.
  std::optional<std::string> caller;
};

namespace platform {

// Returns the request as an encoded bundle. Throws std::runtime_error.
std::vector<uint8_t> EncodeRequest(const app_control_s& request);

// Returns false for bytes that are not a bundle. Ignores values that are not strings.
bool DecodeRequest(const uint8_t* bytes, size_t size, app_control_s* request);

}  // namespace platform

#endif
