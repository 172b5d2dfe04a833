// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/bundle/base64.h"

namespace platform::bundle {
namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int ValueOf(uint8_t digit) {
  if (digit >= 'A' && digit <= 'Z') return digit - 'A';
  if (digit >= 'a' && digit <= 'z') return digit - 'a' + 26;
  if (digit >= '0' && digit <= '9') return digit - '0' + 52;
  if (digit == '+') return 62;
  if (digit == '/') return 63;
  return -1;
}

// The number of '=' at the end of a text whose size is a multiple of four.
size_t PaddingOf(const uint8_t* text, size_t size) {
  if (size == 0 || text[size - 1] != '=') return 0;
  return text[size - 2] == '=' ? 2 : 1;
}

}  // namespace

std::string ToBase64(const std::vector<uint8_t>& bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
    uint32_t group = 0;
    for (size_t j = 0; j < 3; ++j) group = group << 8 | (j < count ? bytes[i + j] : 0U);
    for (size_t j = 0; j < 4; ++j) {
      text.push_back(j <= count ? kDigits[group >> (18 - 6 * j) & 0x3F] : '=');
    }
  }
  return text;
}

std::optional<std::vector<uint8_t>> FromBase64(const uint8_t* text, size_t size) {
  if (size % 4 != 0) return std::nullopt;
  const size_t digits = size - PaddingOf(text, size);
  std::vector<uint8_t> bytes;
  bytes.reserve(size / 4 * 3);
  uint32_t group = 0;
  unsigned bits = 0;
  for (size_t i = 0; i < digits; ++i) {
    const int value = ValueOf(text[i]);
    if (value < 0) return std::nullopt;
    group = group << 6 | static_cast<uint32_t>(value);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes.push_back(static_cast<uint8_t>(group >> bits));
  }
  // Left-over bits are padding and must be zero, or two texts would mean the same bytes.
  if ((group & ((1U << bits) - 1)) != 0) return std::nullopt;
  return bytes;
}

}  // namespace platform::bundle
