// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_BUNDLE_CODEC_H_
#define PLATFORM_LINUX_BUNDLE_CODEC_H_

#include <bundle.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/bundle/values.h"

namespace platform::bundle {

// The raw form, with integers of 32 bits in the machine's byte order: the number of pairs, then for
// each pair its type, key (length and bytes), number of elements, and each element (length and
// bytes). An empty slot of an array has the length kEmptySlot and no bytes.
constexpr uint32_t kEmptySlot = 0xFFFFFFFF;

// Returns the raw form, or nothing when its size exceeds INT_MAX.
std::vector<uint8_t> ToRaw(const _bundle_t& values);

// Returns null unless the bytes are exactly one well-formed bundle. Allocates only for elements
// that the bytes really hold, not for counts that they announce.
std::unique_ptr<_bundle_t> FromRaw(const uint8_t* bytes, size_t size);

}  // namespace platform::bundle

#endif
