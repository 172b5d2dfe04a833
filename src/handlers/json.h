// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_JSON_H_
#define QOR_SRC_HANDLERS_JSON_H_

#include <cstdio>
#include <cstdlib>

// The JSON library's assertions are the check of the database file: they end the process in every
// build, also where the standard assert() is compiled away. This header is the only way in.
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
