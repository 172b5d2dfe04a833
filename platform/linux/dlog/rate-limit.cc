// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/dlog/rate-limit.h"

#include <utility>

namespace platform::dlog {
namespace {

// FNV-1a.
constexpr uint64_t kHashStart = 14695981039346656037U;

uint64_t Hash(std::string_view text, uint64_t hash) {
  for (const char c : text) {
    // Numbers are ignored.
    if (c < '0' || c > '9') hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  }
  return hash;
}

}  // namespace

bool RateLimit::Count(Time now, unsigned max_lines, Bucket* bucket) {
  if (now >= bucket->end) {
    bucket->end = now + kPeriod;
    bucket->lines = 0;
  }
  if (bucket->lines == max_lines) {
    ++bucket->suppressed;
    return false;
  }
  ++bucket->lines;
  return true;
}

RateLimit::Decision RateLimit::Check(Time now, std::string_view tag, std::string_view format,
                                     std::string_view message) {
  const uint64_t tag_hash = Hash(tag, kHashStart);
  Bucket& of_format = formats_[Hash(format, tag_hash) % formats_.size()];
  Bucket& of_message = messages_[Hash(message, tag_hash) % messages_.size()];
  // The message first: a peer that repeats a line must not use up the limit of the format.
  if (!Count(now, kMaxSimilarLines, &of_message) || !Count(now, kMaxLinesOfFormat, &of_format))
    return {};
  return {true, std::exchange(of_format.suppressed, 0) + std::exchange(of_message.suppressed, 0)};
}

}  // namespace platform::dlog
