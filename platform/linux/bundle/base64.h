// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_BUNDLE_BASE64_H_
#define PLATFORM_LINUX_BUNDLE_BASE64_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform::bundle {

std::string ToBase64(const std::vector<uint8_t>& bytes);

// Empty unless the text is exactly what ToBase64 makes of some bytes.
std::optional<std::vector<uint8_t>> FromBase64(const uint8_t* text, size_t size);

}  // namespace platform::bundle

#endif
