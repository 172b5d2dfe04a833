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

// The raw form, in the machine's byte order, every number 32 bits wide: the count of pairs, then
// for each its type, key (length and bytes), count of elements, and each element as length and
// bytes. The length kEmptySlot stands for an empty slot of an array.
constexpr uint32_t kEmptySlot = 0xFFFFFFFF;

// Empty when the raw form would be longer than an int can say.
std::vector<uint8_t> ToRaw(const _bundle_t& values);

// Null unless the bytes are one whole well-formed bundle and nothing else. Nothing is allocated for
// what the bytes only claim to hold.
std::unique_ptr<_bundle_t> FromRaw(const uint8_t* bytes, size_t size);

}  // namespace platform::bundle

#endif
