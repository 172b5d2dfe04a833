// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_EVENT_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_EVENT_H_

#include <package_manager.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// The progress of an install, update or uninstall, as reported to listeners. Each listener has a
// socket in kEventSocketFolder. An installer connects to it, sends one event as a message and waits
// for the acknowledgement, which the listener sends when its callbacks have returned.
struct PackageEvent {
  std::string package_type = "tpk";
  std::string package_id;
  package_manager_event_type_e type = PACKAGE_MANAGER_EVENT_TYPE_INSTALL;
  package_manager_event_state_e state = PACKAGE_MANAGER_EVENT_STATE_STARTED;
  int progress = 0;
  package_manager_error_e error = PACKAGE_MANAGER_ERROR_NONE;
};

std::vector<uint8_t> EncodeEvent(const PackageEvent& event);

// Returns nothing for bytes that EncodeEvent() does not produce.
std::optional<PackageEvent> DecodeEvent(const std::vector<uint8_t>& bytes);

}  // namespace platform

#endif
