// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Replaces handlers/json.h, whose failed assertions abort the process, as is specified for foreign
// files. Here they throw, so that the fuzzer can continue.

#ifndef QOR_SRC_HANDLERS_JSON_H_
#define QOR_SRC_HANDLERS_JSON_H_

namespace fuzz {

struct JsonAssertionFailed {};

}  // namespace fuzz

#define RAPIDJSON_ASSERT(condition) \
  ((condition) ? static_cast<void>(0) : throw fuzz::JsonAssertionFailed())

#include "json/json.h"

#endif
