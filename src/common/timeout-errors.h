// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_COMMON_TIMEOUT_ERRORS_H_
#define QOR_SRC_COMMON_TIMEOUT_ERRORS_H_

#include <string_view>

namespace common {

// Errors that the library reports for a command without a result. Clients compare them byte for
// byte, white space included.
inline constexpr char kExecutionTimeoutError[] = R"(
                    {
                        "ErrorCode": 2004,
                        "ErrorDomain": "QOR-CLIENT",
                        "ErrorDescription": "Execution time out"
                    })";
inline constexpr char kConnectionTimeoutError[] = R"(
                    {
                        "ErrorCode": 2004,
                        "ErrorDomain": "QOR-CLIENT",
                        "ErrorDescription": "Connection time out"
                    })";

enum class Timeout { kNone, kExecution, kConnection };

// Returns which timeout an error reports; kNone for an error of a handler. Independent of white
// space, so that `error` may have been parsed and written again.
inline Timeout TimeoutOf(std::string_view error) {
  const auto has = [error](std::string_view text) {
    return error.find(text) != std::string_view::npos;
  };
  if (!has("\"QOR-CLIENT\"")) return Timeout::kNone;
  if (has("\"Execution time out\"")) return Timeout::kExecution;
  return has("\"Connection time out\"") ? Timeout::kConnection : Timeout::kNone;
}

}  // namespace common

#endif
