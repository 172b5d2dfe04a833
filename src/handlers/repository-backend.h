// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_REPOSITORY_BACKEND_H_
#define QOR_SRC_HANDLERS_REPOSITORY_BACKEND_H_

#include <memory>
#include <vector>

#include "handlers/base-handler.h"

namespace handlers {

// Where the handler records are kept.
class RepositoryBackend {
 public:
  virtual ~RepositoryBackend() = default;

  // Replaces what is stored.
  virtual void Store(const std::vector<std::shared_ptr<BaseHandler>>& handlers) = 0;
  // Rebuilds what is stored. Throws NotInitialized when there is nothing yet.
  virtual std::vector<std::shared_ptr<BaseHandler>> Load() = 0;
};

}  // namespace handlers

#endif
