// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_REPOSITORY_BACKEND_H_
#define QOR_SRC_HANDLERS_REPOSITORY_BACKEND_H_

#include <memory>
#include <vector>

#include "handlers/base-handler.h"

namespace handlers {

// Persistent storage of the handler records.
class RepositoryBackend {
 public:
  virtual ~RepositoryBackend() = default;

  // Replaces the stored records.
  virtual void Store(const std::vector<std::shared_ptr<BaseHandler>>& handlers) = 0;
  // Returns the stored records. Throws NotInitialized if nothing has been stored.
  virtual std::vector<std::shared_ptr<BaseHandler>> Load() = 0;
};

}  // namespace handlers

#endif
