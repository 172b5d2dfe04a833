// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/package-event.h"

#include <algorithm>
#include <iterator>

#include "platform/linux/common/bytes.h"

namespace platform {
namespace {

// Type and state as one byte each, progress and error as four bytes (little-endian), then package
// type and package id, each terminated by a zero byte.
constexpr size_t kNumbersSize = 1 + 1 + 4 + 4;

// Events come from other processes, so only values of the enumeration are accepted.
bool IsError(int number) {
  switch (number) {
    case PACKAGE_MANAGER_ERROR_NONE:
    case PACKAGE_MANAGER_ERROR_INVALID_PARAMETER:
    case PACKAGE_MANAGER_ERROR_OUT_OF_MEMORY:
    case PACKAGE_MANAGER_ERROR_IO_ERROR:
    case PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE:
    case PACKAGE_MANAGER_ERROR_SYSTEM_ERROR:
    case PACKAGE_MANAGER_ERROR_PERMISSION_DENIED:
      return true;
    default:
      return false;
  }
}

void PutText(std::vector<uint8_t>* bytes, const std::string& text) {
  bytes->insert(bytes->end(), text.begin(), text.end());
  bytes->push_back(0);
}

}  // namespace

std::vector<uint8_t> EncodeEvent(const PackageEvent& event) {
  std::vector<uint8_t> bytes = {static_cast<uint8_t>(event.type),
                                static_cast<uint8_t>(event.state)};
  AppendLittleEndian(static_cast<uint32_t>(event.progress), &bytes);
  AppendLittleEndian(static_cast<uint32_t>(event.error), &bytes);
  PutText(&bytes, event.package_type);
  PutText(&bytes, event.package_id);
  return bytes;
}

std::optional<PackageEvent> DecodeEvent(const std::vector<uint8_t>& bytes) {
  if (bytes.size() < kNumbersSize || bytes[0] > PACKAGE_MANAGER_EVENT_TYPE_UPDATE ||
      bytes[1] > PACKAGE_MANAGER_EVENT_STATE_FAILED || bytes.back() != 0)
    return std::nullopt;
  const auto type_end = std::find(bytes.begin() + kNumbersSize, bytes.end(), uint8_t{0});
  if (type_end == bytes.end() || std::next(type_end) == bytes.end()) return std::nullopt;
  const auto id_end = std::find(std::next(type_end), bytes.end(), uint8_t{0});
  if (std::next(id_end) != bytes.end()) return std::nullopt;
  const int error = static_cast<int>(ReadLittleEndian(&bytes[6]));
  if (!IsError(error)) return std::nullopt;
  PackageEvent event;
  event.type = static_cast<package_manager_event_type_e>(bytes[0]);
  event.state = static_cast<package_manager_event_state_e>(bytes[1]);
  event.progress = static_cast<int>(ReadLittleEndian(&bytes[2]));
  event.error = static_cast<package_manager_error_e>(error);
  event.package_type.assign(bytes.begin() + kNumbersSize, type_end);
  event.package_id.assign(std::next(type_end), id_end);
  return event;
}

}  // namespace platform
