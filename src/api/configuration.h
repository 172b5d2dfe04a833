// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_CONFIGURATION_H_
#define QOR_SRC_API_CONFIGURATION_H_

#include "qor_handler_manager.h"

// The timeouts of command routing, in milliseconds. Values are not checked.
struct qor_handler_manager_configuration_s {
 public:
  int GetConnectionTimeout() const { return connection_timeout_; }
  int GetExecutionTimeout() const { return execution_timeout_; }
  void SetConnectionTimeout(int milliseconds) { connection_timeout_ = milliseconds; }
  void SetExecutionTimeout(int milliseconds) { execution_timeout_ = milliseconds; }

 private:
  int execution_timeout_ = 3000;
  int connection_timeout_ = 5000;
};

#endif
