// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_ERROR_H_
#define QOR_AGENT_SRC_ERROR_H_

#include <qor_agent.h>

#include <stdexcept>
#include <string>

namespace qor::agent {

// A failure that a function of the C interface returns as `code()`.
class Error : public std::runtime_error {
 public:
  Error(qor_agent_error_e code, const std::string& text) : std::runtime_error(text), code_(code) {}
  qor_agent_error_e code() const { return code_; }

 private:
  qor_agent_error_e code_;
};

}  // namespace qor::agent

#endif
