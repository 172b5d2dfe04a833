// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_BASE_TIMEOUTS_H_
#define QOR_TOOLS_BASE_TIMEOUTS_H_

#include <chrono>

namespace tools {

// The library's timeouts of a command; the defaults are the library's.
struct Timeouts {
  // For the handler to answer.
  std::chrono::milliseconds execution{3000};
  // For a launched handler to connect.
  std::chrono::milliseconds connection{5000};

  std::chrono::milliseconds Total() const { return execution + connection; }
};

}  // namespace tools

#endif
