// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_ROUTER_H_
#define QOR_AGENT_SRC_ROUTER_H_

#include <string>
#include <vector>

#include "records.h"

namespace qor::agent {

// What the scheduler needs of the library.
class Router {
 public:
  virtual ~Router() = default;

  // Returns the code of qor_handler_manager_send_command().
  virtual int Send(const Command& command) = 0;
  // The request types of each registered handler.
  virtual std::vector<std::vector<std::string>> RequestTypesOfHandlers() const = 0;
};

}  // namespace qor::agent

#endif
