// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_JSON_H_
#define QOR_SRC_HANDLERS_JSON_H_

#include <cstdio>
#include <cstdlib>

// The JSON library's assertions validate the database file. They abort the process in every build,
// even with NDEBUG, which disables assert(). Include the JSON library only through this header.
#define RAPIDJSON_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : handlers::JsonAssertionFailed(#condition))

namespace handlers {

[[noreturn]] inline void JsonAssertionFailed(const char* condition) {
  std::fprintf(stderr, "Handler database: assertion failed: %s\n", condition);
  std::abort();
}

}  // namespace handlers

#include "json/json.h"

#endif
